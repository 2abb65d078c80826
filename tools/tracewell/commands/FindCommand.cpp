// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/RadixOption.h"
#include "commands/ReadingEnd.h"
#include "commands/WindowOptions.h"
#include "files/Output.h"
#include "input/FileKind.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "wave/EventWaveFile.h"
#include "wave/IndexLookup.h"
#include "wave/SignalSelection.h"
#include "wave/ValueText.h"

#include <CLI/App.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace tracewell {

namespace {

using Json = nlohmann::ordered_json;

struct Options
{
    std::string file;
    std::string time;
    std::string signal;
    RadixOption radix;
    bool json = false;
    Reach reach = Reach::Whole;
};

struct Found
{
    Signal signal;
    long long time = 0;
    IndexedState answer;
    std::string value;
};

[[noreturn]] void refuse(const std::string& path, const std::string& what)
{
    throw Failure(fmt::format("{}: {} has no index by time; `tracewell values` answers from "
                              "it by a scan, and `tracewell import --store indexed` makes a "
                              "recording with an index",
                              path, what));
}

std::string timeText(const TimeText& text, long long time)
{
    return text.hasTimescale() ? fmt::format("{} ({})", time, text.format(time))
                               : std::to_string(time);
}

void printText(Output& out, const TimeText& text, const Found& found)
{
    const auto line = [&out](const char* title, const std::string& value) {
        out << fmt::format("{:<9} {}\n", title, value);
    };
    line("signal", found.signal.label);
    line("time", timeText(text, found.time));
    line("value", found.answer.recorded ? found.value : "none so far");
    if (found.answer.recorded) {
        line("recorded", timeText(text, *found.answer.recorded));
    }
    for (const IndexedState::Source& source : found.answer.sources) {
        line("block", fmt::format("at {}, {}, of bucket {}: {}, time {} to {}", source.offset,
                                  counted(source.storedSize, "byte"), source.bucket,
                                  counted(source.events, "event"), timeText(text, source.firstTime),
                                  timeText(text, source.lastTime)));
    }
    line("touched", fmt::format("{} and {}", counted(found.answer.cost.m_nodes, "index node"),
                                counted(found.answer.cost.m_blocks, "block")));
}

void printJson(Output& out, const TimeText& text, const Found& found)
{
    Json blocks = Json::array();
    for (const IndexedState::Source& source : found.answer.sources) {
        blocks.push_back({{"offset", source.offset},
                          {"size", source.storedSize},
                          {"bucket", source.bucket},
                          {"events", source.events},
                          {"first", source.firstTime},
                          {"last", source.lastTime}});
    }
    const Json json = {
        {"signal", found.signal.label},
        {"time", found.time},
        {"text", text.format(found.time)},
        {"value", found.answer.recorded ? Json(found.value) : Json()},
        {"recorded", found.answer.recorded ? Json(*found.answer.recorded) : Json()},
        {"blocks", blocks},
        {"touched",
         {{"nodes", found.answer.cost.m_nodes}, {"blocks", found.answer.cost.m_blocks}}}};
    out << json.dump() << "\n";
}

void run(const Options& options)
{
    if (const FileKind kind = findFileKind(options.file); kind != FileKind::Events) {
        refuse(options.file, describe(kind));
    }
    EventWaveFile file(options.file, options.reach);
    auto* const database =
        dynamic_cast<Tracewell::WdbMultipleBucketBtreeDatabase*>(&file.database());
    if (database == nullptr) {
        refuse(options.file, "this event database");
    }
    std::vector<Signal> signals = selectSignals(file, {options.signal});
    if (signals.size() != 1) {
        throw Failure(fmt::format("{}: \"{}\" names {} signals; name one", options.file,
                                  options.signal, signals.size()));
    }
    options.radix.apply(file, signals);

    Found found;
    found.signal = signals.front();
    found.time = file.timeText().parse(kTimeArgument, options.time, Rounding::Down);
    const unsigned long long damages = file.damageLog().getCount();
    found.answer =
        findState(*database, file.storage(), found.signal, std::min(found.time, file.end()));
    if (file.damageLog().getCount() != damages) {
        // What was found may be older than what was lost.
        found.answer = {};
    }
    if (found.time > file.end()) {
        found.answer.state.firings = 0;
    }
    const ValueText valueText([&](long long id) { return file.reader().getStringMapValue(id); });
    found.value = valueText.format(found.signal, found.answer.state);

    Output out;
    if (options.json) {
        printJson(out, file.timeText(), found);
    } else {
        printText(out, file.timeText(), found);
    }
    out.finish();
    finishReading(options.file, file);
}

} // namespace

void addFindCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("find", "Find the state of one signal at one time by the index");
    command
        ->add_option("FILE", options->file,
                     "A wave database with an index by time (import --store indexed)")
        ->required();
    addTimeArgument(*command, options->time);
    command
        ->add_option("SIGNAL", options->signal,
                     "A full name (top.dut.data), bits (top.bus[7:4]), or @ADDRESS[:BYTES]")
        ->required();
    options->radix.addTo(*command);
    command->add_flag("--json", options->json, "JSON, for programs");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell find run.wdb 12.5us top.dut.data\n"
                    "Prints the value, when it was recorded, the stored blocks that tell it, and\n"
                    "how many nodes of the index and blocks the search opened.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
