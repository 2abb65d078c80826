// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/ReadingEnd.h"
#include "commands/WindowOptions.h"
#include "files/Output.h"
#include "wave/SignalSelection.h"
#include "wave/SignalValues.h"
#include "wave/WaveFile.h"

#include "WdbIEventReader.h"
#include "WdbScalarBTree.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

namespace {

enum class Search { Next, Previous };

struct Options
{
    std::string file;
    std::string time;
    std::vector<std::string> signals;
    bool json = false;
    Reach reach = Reach::Whole;
};

struct Answer
{
    std::optional<long long> time;
    /// Those that change at that time.
    std::vector<std::string> signals;
};

Answer findChange(const SignalValues& values, long long time, Search direction)
{
    Answer answer;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        const std::optional<long long> found =
            direction == Search::Next ? values.nextChange(i, time) : values.previousChange(i, time);
        if (!found) {
            continue;
        }
        const bool nearer = !answer.time || (direction == Search::Next ? *found < *answer.time
                                                                       : *found > *answer.time);
        if (nearer) {
            answer = {found, {}};
        }
        if (*found == *answer.time) {
            answer.signals.push_back(values.signals()[i].label);
        }
    }
    return answer;
}

void run(const Options& options, Search direction)
{
    const auto opened = WaveFile::open(options.file, options.reach);
    WaveFile& file = *opened;
    // A time between two units has the one below before it and the one above behind it.
    const long long time = file.timeText().parse(
        kTimeArgument, options.time, direction == Search::Next ? Rounding::Down : Rounding::Up);
    const auto values = file.values(selectSignals(file, options.signals));
    Answer answer = findChange(*values, time, direction);
    if (!file.shortfalls().empty()) {
        // What was damaged in one signal ends those that were looked at before as well.
        answer = findChange(*values, time, direction);
    }

    Output out;
    if (options.json) {
        nlohmann::ordered_json json = {{"time", nullptr}, {"text", nullptr}};
        if (answer.time) {
            json = {{"time", *answer.time}, {"text", file.timeText().format(*answer.time)}};
        }
        json["signals"] = answer.signals;
        out << json.dump() << "\n";
    } else {
        out << (answer.time ? std::to_string(*answer.time) : "none") << "\n";
    }
    out.finish();
    finishReading(options.file, file);
}

void addCommand(CLI::App& app, const char* name, const char* description, Search direction)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    addTimeArgument(*command, options->time);
    command
        ->add_option(
            "SIGNAL", options->signals,
            "Full names (top.dut.data), bits (top.bus[7:4]), scopes, patterns with * and ?, "
            "or @PLACE[:COUNT]")
        ->required();
    command->add_flag("--json", options->json, "JSON, for programs");
    addBeyondOption(*command, options->reach);
    command->footer(std::string("Example:\n  tracewell ") + name +
                    " run.wdb 12.5us top.clk\n"
                    "Prints the time in units of the timescale, or none.");
    command->callback([options, direction] { run(*options, direction); });
}

} // namespace

void addNextPreviousCommands(CLI::App& app)
{
    addCommand(app, "next", "Find the first change behind a time", Search::Next);
    addCommand(app, "previous", "Find the last change before a time", Search::Previous);
}

} // namespace tracewell
