// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ChangeStream.h"
#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/ReadingEnd.h"
#include "files/Interrupt.h"
#include "files/OutputSuffix.h"
#include "files/OutputText.h"
#include "files/ProgressBar.h"
#include "formats/vcd/DeclarationText.h"
#include "text/Failure.h"
#include "text/Message.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    Reach reach = Reach::Whole;
};

class Export
{
public:
    explicit Export(const Options& options) : m_options(options) {}
    void run();

private:
    void writeChanges(ChangeStream& changes, OutputText& out);

    const Options& m_options;
    InterruptGuard m_interrupt;
};

void Export::run()
{
    checkSuffix(m_options.output, {".vcd"});
    const std::unique_ptr<ChangeStream> changes =
        ChangeStream::open(m_options.input, m_options.reach);
    OutputText out(m_options.output, m_options.input);
    out.text() = writeDeclarations(changes->declarations());
    writeChanges(*changes, out);
    const std::string ending = out.finish(changes->shortfalls().empty());
    finishReading(m_options.input, *changes, ending);
}

void Export::writeChanges(ChangeStream& changes, OutputText& out)
{
    ProgressBar bar("exporting");
    long long written = -1;
    while (changes.next()) {
        const bool isStart = changes.time() == 0 && written < 0;
        written = changes.time();
        fmt::format_to(std::back_inserter(out.text()), "#{}\n{}", written,
                       isStart ? "$dumpvars\n" : "");
        for (const std::uint32_t object : changes.changed()) {
            changes.appendChange(out.text(), object);
        }
        out.text().append(isStart ? "$end\n" : "");
        if (out.flushWhenLarge()) {
            m_interrupt.check();
            bar.update(changes.progress());
        }
    }
    if (changes.latestTime() > std::max(written, 0LL)) {
        fmt::format_to(std::back_inserter(out.text()), "#{}\n", changes.latestTime());
    }
}

} // namespace

void addExportCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("export", "Write a recording as a VCD");
    command->add_option("FILE", options->input, "The wave database")->required();
    command->add_option("OUT.vcd", options->output, "The VCD to make; - is the standard output")
        ->required();
    addBeyondOption(*command, options->reach);
    command->footer(
        "Example:\n"
        "  tracewell export run.wdb run.vcd\n"
        "Variables, hierarchy, identifier codes and timescale are those of the import,\n"
        "values are written when they change. The file of a killed writer is written up to\n"
        "the time to which it is whole.");
    command->callback([options] { Export(*options).run(); });
}

} // namespace tracewell
