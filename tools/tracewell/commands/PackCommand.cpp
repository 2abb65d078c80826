// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ChangeStream.h"
#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/RecordingOutput.h"
#include "commands/StoreOption.h"
#include "files/Interrupt.h"
#include "files/OutputFile.h"
#include "files/ProgressBar.h"
#include "files/Terminal.h"
#include "formats/vcd/DeclarationText.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"
#include "record/ValueRecorder.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "values/Letters.h"

#include "StorageFailure.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    Reach reach = Reach::Whole;
    Store store = Store::Columns;
};

/// Records the changes of a recording anew.
class Pack
{
public:
    Pack(const Options& options, OutputFile& output, SnapshotDirectory& directory,
         const InterruptGuard& interrupt);
    /// \throws Failure, and DoneInPart when the input lacks something
    void run();

private:
    void store(std::uint32_t object);
    void summarize() const;

    const Options& m_options;
    OutputFile& m_output;
    SnapshotDirectory& m_directory;
    const InterruptGuard& m_interrupt;
    std::unique_ptr<ChangeStream> m_changes;
    const Declarations& m_declarations;
    DataLayout m_layout;
    std::unique_ptr<RecordingWriter> m_writer;
    ValueRecorder m_values;
    std::string m_text;
};

std::unique_ptr<RecordingWriter> makeWriter(Store store)
{
    if (store == Store::Transitions) {
        // check() tells of a file that could not be written.
        Tracewell::setStorageFailureHandler([](const std::string&) {});
    }
    return makeRecordingWriter(store);
}

Pack::Pack(const Options& options, OutputFile& output, SnapshotDirectory& directory,
           const InterruptGuard& interrupt)
    : m_options(options), m_output(output), m_directory(directory), m_interrupt(interrupt),
      m_changes(ChangeStream::open(options.input, options.reach)),
      m_declarations(m_changes->declarations()), m_layout(m_declarations),
      m_writer(makeWriter(options.store)),
      m_values(m_declarations, m_layout, m_writer->writer(), m_writer->sink())
{}

void Pack::run()
{
    constexpr int kStepsOfCheck = 1000;
    std::error_code ignored;
    const std::uintmax_t size = std::filesystem::file_size(m_options.input, ignored);
    m_directory.write(writeDeclarations(m_declarations));
    m_writer->open(m_output.path(), m_directory, m_layout, ignored ? 0 : size);
    m_directory.remove();
    {
        ProgressBar bar("packing");
        for (int steps = 0; m_changes->next(); ++steps) {
            m_values.setTime(m_changes->time());
            for (const std::uint32_t object : m_changes->changed()) {
                store(object);
            }
            if (!m_values.refusal().empty()) {
                throw Failure(m_options.input + ": " + m_values.takeRefusal());
            }
            if (steps % kStepsOfCheck == 0) {
                m_interrupt.check();
                m_writer->check();
                bar.update(m_changes->progress());
            }
        }
    }
    const long long end = std::max(m_values.time(), m_changes->latestTime());
    m_values.setTime(end);
    m_writer->finish(end, m_directory, m_declarations);
    m_writer->check();
    const std::vector<std::string> shortfalls = m_changes->shortfalls();
    const std::string ending = m_output.finish(shortfalls.empty());
    if (isTerminal(StandardStream::Error)) {
        summarize();
    }
    for (const std::string& notice : m_changes->notices()) {
        tell(m_options.input + ": " + notice);
    }
    if (!shortfalls.empty()) {
        throw DoneInPart(fmt::format("{}: {}{}", m_options.input, shortfalls.front(), ending));
    }
}

void Pack::store(std::uint32_t object)
{
    const ValueKind& kind = *m_declarations.objects[object].kind;
    if (const unsigned char* const plain = m_changes->plainValue(object)) {
        // A text that stood beside it ends with this.
        m_values.storeExact(object, plain);
        return;
    }
    m_text.clear();
    m_changes->appendValue(m_text, object);
    if (m_text.empty()) {
        m_values.forgetText(object);
        return;
    }
    const std::string_view rest = std::string_view(m_text).substr(1);
    const char* const letter = std::find(std::begin(kLetters), std::end(kLetters), m_text[0]);
    const auto code = static_cast<std::uint8_t>(letter - std::begin(kLetters));
    if (kind.fires()) {
        for (unsigned long long i = 0; i < m_changes->firings(object); ++i) {
            rest.empty() ? m_values.fire(object, code)
                         : static_cast<void>(
                               m_values.store(object, static_cast<ChangeForm>(m_text[0]), rest));
        }
    } else if (rest.empty() && letter != std::end(kLetters)) {
        m_values.storeLetter(object, code);
    } else {
        m_values.store(object, static_cast<ChangeForm>(m_text[0]), rest);
    }
}

void Pack::summarize() const
{
    std::error_code ignored;
    const auto before = std::filesystem::file_size(m_options.input, ignored);
    const auto after = std::filesystem::file_size(m_output.path(), ignored);
    tell(fmt::format("{}: {} of {}, {:.1f} MB in {:.1f} MB", m_options.output,
                     counted(m_values.changes(), "change"),
                     counted(m_declarations.variables.size(), "variable"),
                     static_cast<double>(before) / 1e6, static_cast<double>(after) / 1e6));
}

void run(const Options& options)
{
    makeRecording(
        {"pack", options.input, options.output, options.store, false},
        [&](OutputFile& output, SnapshotDirectory& directory, const InterruptGuard& interrupt) {
            Pack(options, output, directory, interrupt).run();
        });
}

} // namespace

void addPackCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("pack", "Record a recording anew, in columns or another store");
    command->add_option("IN.wdb", options->input, "The wave database, whatever its store")
        ->required();
    command->add_option("OUT.wdb", options->output, "The wave database to make")->required();
    addChoice(*command, kStoreOption, options->store,
              Choices<Store>{{"columns", Store::Columns},
                             {"events", Store::Events},
                             {"indexed", Store::Indexed},
                             {"transitions", Store::Transitions}},
              "What to keep the recording in; columns if not given");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell pack run.wdb small.wdb\n"
                    "The histories of all signals are the same in both. What the killed writer of "
                    "the input\n"
                    "left is packed up to the time to which it is whole.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
