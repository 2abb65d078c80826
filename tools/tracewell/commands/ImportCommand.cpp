// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/RecordingOrder.h"
#include "commands/StoreOption.h"
#include "files/Interrupt.h"
#include "files/OutputFile.h"
#include "files/ProgressBar.h"
#include "files/Terminal.h"
#include "formats/vcd/DeclarationText.h"
#include "import/InputRun.h"
#include "input/InputFile.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Message.h"

#include "StorageFailure.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tracewell {

namespace {

using Clock = std::chrono::steady_clock;

struct Options
{
    std::string input;
    std::string output;
    bool isLenient = false;
    double sync = 0;
    unsigned int division = 0;
    Store store = Store::Events;
};

std::unique_ptr<RecordingWriter> makeWriter(const Options& options)
{
    if (options.store == Store::Transitions) {
        // So that a file that could not be written does not come to look finished; the writer's
        // check() tells of it.
        Tracewell::setStorageFailureHandler([](const std::string&) {});
    }
    return makeRecordingWriter(options.store, options.division);
}

class Import
{
public:
    /// Finishes `output`, which has been started.
    Import(const Options& options, OutputFile& output, SnapshotDirectory& directory,
           const InterruptGuard& interrupt)
        : m_options(options), m_output(output), m_directory(directory), m_interrupt(interrupt)
    {}
    void run();

private:
    /// One pass over the input. Answers the decimals of its times when there are more than
    /// `fractionDigits`; the pass was in vain then.
    std::optional<int> attempt(int fractionDigits);
    void open(RecordingWriter& writer, const InputRun& run);
    void whileReading(RecordingWriter& writer, ProgressBar& bar, double progress);
    void summarize(const RunReader& input, const ValueRecorder& recorder,
                   const Declarations& declarations) const;

    const Options& m_options;
    OutputFile& m_output;
    SnapshotDirectory& m_directory;
    const InterruptGuard& m_interrupt;
    /// What a user should know of an input that is taken in part.
    std::string m_shortfall;
    bool m_isOpen = false;
    Clock::time_point m_nextSync;
};

void Import::run()
{
    std::optional<int> digits = attempt(0);
    if (digits) {
        digits = attempt(*digits);
    }
    const std::string ending = m_output.finish(m_shortfall.empty());
    if (!m_shortfall.empty()) {
        throw DoneInPart(fmt::format("{}: {}{}", inputName(m_options.input), m_shortfall, ending));
    }
}

std::optional<int> Import::attempt(int fractionDigits)
{
    std::optional<ProgressBar> bar("importing");
    const std::unique_ptr<RecordingWriter> writer = makeWriter(m_options);
    m_isOpen = false;
    InputRun run(m_options.input, writer->writer(), writer->sink(),
                 InputRun::Reading{fractionDigits, m_options.isLenient},
                 [&](double progress) { whileReading(*writer, *bar, progress); });
    open(*writer, run);
    if (const std::optional<int> needed = run.play(true)) {
        return needed;
    }
    writer->finish(run.values().time(), m_directory, run.declarations());
    bar.reset();
    m_shortfall = run.shortfall("kept");
    if (const std::string lenience = run.lenience(); !lenience.empty()) {
        std::cerr << fmt::format("tracewell: {}: {}\n", run.input().name(), lenience);
    }
    if (isTerminal(StandardStream::Error)) {
        summarize(run.input(), run.values(), run.declarations());
    }
    return std::nullopt;
}

void Import::open(RecordingWriter& writer, const InputRun& run)
{
    m_directory.write(writeDeclarations(run.declarations()));
    m_interrupt.check();
    writer.open(m_output.path(), m_directory, run.layout(), run.input().expectedSize());
    m_directory.remove();
    m_isOpen = true;
    m_nextSync = Clock::now();
}

void Import::whileReading(RecordingWriter& writer, ProgressBar& bar, double progress)
{
    m_interrupt.check();
    writer.check();
    bar.update(progress);
    if (m_isOpen && m_options.sync > 0 && Clock::now() >= m_nextSync) {
        writer.flush();
        m_nextSync = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(m_options.sync));
    }
}

void Import::summarize(const RunReader& input, const ValueRecorder& recorder,
                       const Declarations& declarations) const
{
    std::error_code ignored;
    const auto size = std::filesystem::file_size(m_output.path(), ignored);
    tell(fmt::format("{}: {} of {}, time {} to {}, {:.1f} MB of text in {:.1f} MB",
                     m_options.output, counted(recorder.changes(), "change"),
                     counted(declarations.variables.size(), "variable"), recorder.firstTime(),
                     recorder.time(), static_cast<double>(input.bytesRead()) / 1e6,
                     static_cast<double>(ignored ? 0 : size) / 1e6));
}

void run(const Options& options)
{
    makeRecording(
        {"import", options.input, options.output, options.store, options.sync > 0},
        [&](OutputFile& output, SnapshotDirectory& directory, const InterruptGuard& interrupt) {
            Import(options, output, directory, interrupt).run();
        });
}

} // namespace

void addImportCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("import", "Make a wave database of a VCD, FST or GHW file");
    command
        ->add_option("IN", options->input,
                     "The run: a VCD, FST or GHW file, packed or not; - is the standard input")
        ->required();
    command->add_option("OUT.wdb", options->output, "The wave database to make")->required();
    addStoreOption(*command, options->store,
                   {{"events", Store::Events},
                    {"columns", Store::Columns},
                    {"indexed", Store::Indexed},
                    {"transitions", Store::Transitions}});
    addLenientOption(*command, options->isLenient);
    command
        ->add_option("--sync", options->sync,
                     "Make what was read so far readable by others every SECONDS; a kill then "
                     "loses no more than that")
        ->type_name("SECONDS")
        ->transform(numberAboveZero());
    command
        ->add_option("--division", options->division,
                     "Addresses a bucket. Small ones make the answer for one signal fast, large "
                     "ones save memory; the default depends on the design and the input")
        ->type_name("N")
        ->transform(wholeNumber(1, 1 << 30));
    command->footer(
        "Example:\n"
        "  tracewell import run.vcd run.wdb\n"
        "  tracewell import run.vcd.gz run.wdb\n"
        "What gzip, zstd or xz packed is unpacked on the way, whatever its name.\n"
        "An input without sense is refused, with its line, and leaves no output; --lenient\n"
        "reads on. One that is cut off keeps everything up to the cut, says so, and ends with "
        "exit\n"
        "code 1. A recording that is there already is replaced when the new one is finished, and\n"
        "otherwise stays as it was. A\n"
        "new output is taken away after an error, on a full disk too; that of a killed import\n"
        "stays, holds what had reached it, and is not closed.");
    command->callback([options, command] {
        if (options->store == Store::Transitions) {
            requireNotGiven(*command, "--sync", options->store);
        }
        if (options->store != Store::Events) {
            requireNotGiven(*command, "--division", options->store);
        }
        run(*options);
    });
}

} // namespace tracewell
