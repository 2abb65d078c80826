#include "CommandError.h"
#include "Commands.h"
#include "files/Interrupt.h"
#include "files/OutputText.h"
#include "files/UnfinishedFile.h"
#include "names/DeclarationText.h"
#include "recording/EventMerge.h"
#include "recording/TextLookup.h"
#include "recording/ValueReplay.h"
#include "text/ProgressBar.h"
#include "wave/EventWaveFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
};

class Export
{
public:
    explicit Export(const Options& options) : m_output(options.output), m_options(options) {}
    void run();

private:
    void writeChanges(EventWaveFile& file, OutputText& out);
    void writeTime(OutputText& out, ValueReplay& replay);

    UnfinishedFile m_output;
    const Options& m_options;
    InterruptGuard m_interrupt;
    std::string m_changes;
    /// The time of the events that wait in the replay, and the last one written; -1 before any.
    long long m_time = -1;
    long long m_written = -1;
};

void Export::run()
{
    checkOutput(m_options.input, m_options.output, OutputKind::Any);
    EventWaveFile file = openEventWaveFile(m_options.input, "export");
    if (!file.hasNames()) {
        throw CommandError(fmt::format("{}: {}, so there is nothing to export by; recordings made "
                                       "by `tracewell import` have one",
                                       file.path(), file.whyNoNames()));
    }
    if (file.layout().totalSize() > kLargestMemory) {
        throw CommandError(
            fmt::format("{}: its name table asks for {} MB of values; at most {} can "
                        "be exported; `tracewell values` shows some",
                        file.path(), file.layout().totalSize() >> 20, kLargestMemory >> 20));
    }
    OutputText out(m_options.output);
    m_output.start();
    out.text() = writeDeclarations(file.declarations());
    writeChanges(file, out);
    out.finish();
    m_output.finish();
}

void Export::writeChanges(EventWaveFile& file, OutputText& out)
{
    TextLookup texts(file.path());
    ValueReplay replay(file.declarations(), file.layout(), texts);
    EventMerge events(file.database(), file.path());
    ProgressBar bar("exporting");
    const auto latest = static_cast<double>(std::max(1LL, file.latestTime()));
    while (const Tracewell::WdbEvent* event = events.next()) {
        const long long time = event->getTime();
        if (time < 0) {
            throw CommandError(fmt::format(
                "{}: an event at {}; a VCD has no times below 0; `tracewell events` shows it",
                file.path(), time));
        }
        if (time != m_time) {
            writeTime(out, replay);
            m_time = time;
            if (out.flushWhenLarge()) {
                m_interrupt.check();
                bar.update(static_cast<double>(time) / latest);
            }
        }
        replay.apply(event->getStartAddress(), event->getValue(), event->getValuelength());
    }
    writeTime(out, replay);
    if (file.latestTime() > std::max(m_written, 0LL)) {
        fmt::format_to(std::back_inserter(out.text()), "#{}\n", file.latestTime());
    }
    if (replay.missingTexts() != 0) {
        std::cerr << fmt::format("tracewell: {}: the texts of {} values never reached the file; "
                                 "what stands for them was exported\n",
                                 file.path(), replay.missingTexts());
    }
}

void Export::writeTime(OutputText& out, ValueReplay& replay)
{
    m_changes.clear();
    if (m_time < 0 || !replay.takeChanges(m_changes)) {
        return;
    }
    const bool isStart = m_time == 0 && m_written < 0;
    fmt::format_to(std::back_inserter(out.text()), "#{}\n{}", m_time, isStart ? "$dumpvars\n" : "");
    out.text().append(m_changes).append(isStart ? "$end\n" : "");
    m_written = m_time;
}

} // namespace

void addExportCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("export", "Write a recording as a VCD");
    command->add_option("FILE", options->input, "The wave database")->required();
    command->add_option("OUT.vcd", options->output, "The VCD to make; - is the standard output")
        ->required();
    command->footer(
        "Example:\n"
        "  tracewell export run.wdb run.vcd\n"
        "Variables, hierarchy, identifier codes and timescale are those of the import,\n"
        "values are written when they change. The file of a killed writer gives what\n"
        "had reached it.");
    command->callback([options] { Export(*options).run(); });
}

} // namespace tracewell
