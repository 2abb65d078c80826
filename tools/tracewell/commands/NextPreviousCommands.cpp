#include "Commands.h"
#include "commands/WindowOptions.h"
#include "text/Output.h"
#include "wave/SignalSelection.h"
#include "wave/SignalValues.h"
#include "wave/WaveFile.h"

#include "WdbIEventReader.h"
#include "WdbScalarBTree.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

namespace {

enum class Direction { Next, Previous };

struct Options
{
    std::string file;
    std::string time;
    std::vector<std::string> signals;
    bool json = false;
};

/// The nearest change of one tree on that side of `time`. Asked for several trees at once, a reader
/// may answer with a time that lies on the wrong side; asked for one, that means there is none.
std::optional<long long> nearestChange(const Tracewell::WdbIEventReader& reader,
                                       Tracewell::WdbScalarBTree* tree, long long time,
                                       Direction direction)
{
    if (tree->isEmpty()) {
        return std::nullopt;
    }
    std::vector<Tracewell::WdbScalarBTree*> trees{tree};
    const bool next = direction == Direction::Next;
    const long long found =
        next ? reader.getNextEvent(time, trees) : reader.getPreviousEvent(time, trees);
    const bool rightSide = next ? found > time : found < time;
    return rightSide ? std::optional<long long>(found) : std::nullopt;
}

struct Answer
{
    std::optional<long long> time;
    /// Those that change at that time.
    std::vector<std::string> signals;
};

Answer findChange(WaveFile& file, const SignalValues& values, long long time, Direction direction)
{
    Answer answer;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        for (Tracewell::WdbScalarBTree* tree : values.trees(i)) {
            const std::optional<long long> found =
                nearestChange(file.reader(), tree, time, direction);
            if (!found) {
                continue;
            }
            const bool nearer =
                !answer.time ||
                (direction == Direction::Next ? *found < *answer.time : *found > *answer.time);
            if (nearer) {
                answer = {found, {}};
            }
            const std::string& label = values.signals()[i].label;
            if (*found == *answer.time &&
                (answer.signals.empty() || answer.signals.back() != label)) {
                answer.signals.push_back(label);
            }
        }
    }
    return answer;
}

void run(const Options& options, Direction direction)
{
    WaveFile file(options.file);
    // A time between two units has the one below before it and the one above behind it.
    const long long time = file.timeText().parse(
        options.time, direction == Direction::Next ? Rounding::Down : Rounding::Up);
    const SignalValues values(file, selectSignals(file, options.signals));
    const Answer answer = findChange(file, values, time, direction);

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
}

void addCommand(CLI::App& app, const char* name, const char* description, Direction direction)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("FILE", options->file, "A wave database")->required();
    command
        ->add_option("TIME", options->time,
                     "A number in units of the timescale, or with a unit (12.5us)")
        ->required()
        ->check(timeArgument());
    command
        ->add_option("SIGNAL", options->signals,
                     "Full names (top.dut.data), patterns with * and ?, or @ADDRESS[:BYTES]")
        ->required();
    command->add_flag("--json", options->json, "JSON, for programs");
    command->footer(std::string("Example:\n  tracewell ") + name +
                    " run.wdb 12.5us top.clk\n"
                    "Prints the time in units of the timescale, or none.");
    command->callback([options, direction] { run(*options, direction); });
}

} // namespace

void addNextPreviousCommands(CLI::App& app)
{
    addCommand(app, "next", "Find the first change behind a time", Direction::Next);
    addCommand(app, "previous", "Find the last change before a time", Direction::Previous);
}

} // namespace tracewell
