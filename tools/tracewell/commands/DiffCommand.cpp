// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/RadixOption.h"
#include "commands/WindowOptions.h"
#include "diff/RunComparison.h"
#include "files/Output.h"
#include "files/ProgressBar.h"
#include "input/FileKind.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/ObservedValue.h"

#include "QsimException.h"

#include <CLI/App.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

using Json = nlohmann::ordered_json;

/// As diff, cmp and grep have it: 1 is an answer.
constexpr int kDifferent = 1;
constexpr int kTrouble = 2;

struct Options
{
    std::string a;
    std::string b;
    std::vector<std::string> signals;
    std::vector<std::string> ignored;
    std::string from;
    std::string to;
    RadixOption radix;
    bool json = false;
    bool isLenient = false;
    Reach reach = Reach::Whole;
};

/// All that a comparison found.
struct Result
{
    SignalPairs signals;
    std::vector<Difference> differences;
    TimeText timeText;
    /// Where the runs end, when it was looked at.
    std::optional<std::pair<long long, long long>> ends;
    /// Whether both runs were compared to their ends.
    bool isWhole = true;

    bool hasEqualEnds() const { return !ends || ends->first == ends->second; }
    bool isEqual() const
    {
        return differences.empty() && signals.onlyInA.empty() && signals.onlyInB.empty() &&
               hasEqualEnds();
    }
};

/// One for both runs, so that a value looks the same in both.
void setRadix(const Options& options, const SignalNames& names, std::vector<SignalPair>& pairs)
{
    std::vector<Signal> signals;
    signals.reserve(pairs.size());
    for (const SignalPair& pair : pairs) {
        signals.push_back(pair.a);
    }
    options.radix.apply(names, signals);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i].a.radix = pairs[i].b.radix = signals[i].radix;
        pairs[i].a.enumeration = pairs[i].b.enumeration = signals[i].enumeration;
    }
}

Result compareOnce(const Options& options, int fractionDigitsOfA, int fractionDigitsOfB)
{
    const auto a =
        ChangeStream::openRun(options.a, fractionDigitsOfA, options.isLenient, options.reach);
    const auto b =
        ChangeStream::openRun(options.b, fractionDigitsOfB, options.isLenient, options.reach);
    SignalNames namesOfA(options.a);
    SignalNames namesOfB(options.b);
    if (isRun(options.a)) {
        namesOfA.listIn(options.a);
    }
    namesOfA.take(a->declarations());
    namesOfB.take(b->declarations());
    const CommonTime time(a->declarations().timescale, b->declarations().timescale);

    RunComparison::Window window;
    window.from = options.from.empty() ? window.from : time.parse("--from", options.from);
    window.to = options.to.empty() ? window.to : time.parse("--to", options.to);
    if (window.to < window.from) {
        throw CLI::ValidationError("--to", fmt::format("{} lies before the start of the stretch",
                                                       time.text().format(window.to)));
    }

    Result result;
    result.timeText = time.text();
    result.signals = pairSignals(namesOfA, namesOfB, options.signals, options.ignored);
    if (result.signals.pairs.empty() && result.signals.onlyInA.empty() &&
        result.signals.onlyInB.empty()) {
        throw Failure("no signal is left to be compared; ignore less");
    }
    setRadix(options, namesOfA, result.signals.pairs);
    RunComparison comparison(*a, *b, time, result.signals.pairs);
    {
        ProgressBar bar("comparing");
        comparison.run(window, [&](double fraction) { bar.update(fraction); });
    }
    result.differences = comparison.differences();
    if (comparison.sawEnds()) {
        result.ends = {time.ofA(a->latestTime()), time.ofB(b->latestTime())};
    }
    const bool lacksA = tellShortfalls(options.a, *a);
    const bool lacksB = tellShortfalls(options.b, *b);
    result.isWhole = !lacksA && !lacksB;
    return result;
}

/// A text whose times turn out to be finer than it says is read again.
Result compareRuns(const Options& options)
{
    if (options.a == "-" && options.b == "-") {
        throw Failure("the standard input is one run; name a file for the other");
    }
    int digitsOfA = 0;
    int digitsOfB = 0;
    for (;;) {
        try {
            return compareOnce(options, digitsOfA, digitsOfB);
        } catch (const FinerTimesNeeded& needed) {
            digitsOfA = needed.path == options.a ? needed.fractionDigits : digitsOfA;
            digitsOfB = needed.path == options.b ? needed.fractionDigits : digitsOfB;
        }
    }
}

/// The last parts of the paths, when these tell the runs apart.
std::pair<std::string, std::string> shortNames(const Options& options)
{
    const std::string a = std::filesystem::path(options.a).filename().string();
    const std::string b = std::filesystem::path(options.b).filename().string();
    return a != b ? std::pair(printable(a), printable(b))
                  : std::pair(printable(options.a), printable(options.b));
}

void printText(Output& out, const Options& options, const Result& result)
{
    ObservedValueText values;
    std::vector<std::vector<std::string>> rows;
    for (const Difference& difference : result.differences) {
        const SignalPair& pair = result.signals.pairs[difference.pair];
        rows.push_back({result.timeText.format(difference.time), pair.a.label,
                        values.format(pair.a, difference.a).value_or("-"),
                        values.format(pair.b, difference.b).value_or("-")});
    }
    const auto [a, b] = shortNames(options);
    if (!rows.empty()) {
        out << formatTable({{"differs from", ColumnFormat::Align::Right}, {"signal"}, {a}, {b}},
                           rows);
    }
    for (const std::string& label : result.signals.onlyInA) {
        out << fmt::format("only in {}: {}\n", a, label);
    }
    for (const std::string& label : result.signals.onlyInB) {
        out << fmt::format("only in {}: {}\n", b, label);
    }
    if (!result.hasEqualEnds()) {
        out << fmt::format("{} ends at {}, {} at {}\n", a,
                           result.timeText.format(result.ends->first), b,
                           result.timeText.format(result.ends->second));
    }
}

void printJson(Output& out, const Options& options, const Result& result)
{
    ObservedValueText values;
    const auto valueJson = [&](const Signal& signal, const ObservedValue& value) {
        const std::optional<std::string> text = values.format(signal, value);
        return text ? Json(*text) : Json();
    };
    Json json = {{"a", printable(options.a)},
                 {"b", printable(options.b)},
                 {"equal", result.isEqual()},
                 {"compared", result.signals.pairs.size()},
                 {"timescale", result.timeText.timescaleText()},
                 {"ends", Json()},
                 {"onlyInA", result.signals.onlyInA},
                 {"onlyInB", result.signals.onlyInB},
                 {"differences", Json::array()}};
    if (result.ends) {
        json["ends"] = {{"a", result.ends->first}, {"b", result.ends->second}};
    }
    for (const Difference& difference : result.differences) {
        const SignalPair& pair = result.signals.pairs[difference.pair];
        json["differences"].push_back({{"signal", pair.a.label},
                                       {"time", difference.time},
                                       {"text", result.timeText.format(difference.time)},
                                       {"a", valueJson(pair.a, difference.a)},
                                       {"b", valueJson(pair.b, difference.b)}});
    }
    out << json.dump(2) << "\n";
}

void run(const Options& options)
{
    int exitCode = 0;
    try {
        const Result result = compareRuns(options);
        Output out;
        if (options.json) {
            printJson(out, options, result);
        } else {
            printText(out, options, result);
        }
        out.finish();
        exitCode = !result.isWhole ? kTrouble : result.isEqual() ? 0 : kDifferent;
    } catch (const Failure& e) {
        throw Failure(e.what(), kTrouble);
    } catch (const Qsim::Exception& e) {
        throw Failure(e.getMessage(), kTrouble);
    } catch (const std::bad_alloc&) {
        throw Failure("the memory does not suffice for both runs; compare fewer signals", kTrouble);
    }
    if (exitCode != 0) {
        throw CLI::RuntimeError(exitCode);
    }
}

} // namespace

void addDiffCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("diff", "Compare two runs, signal by signal");
    command
        ->add_option("A", options->a,
                     "A wave database, a VCD, FST or GHW file, or - for one on standard input")
        ->required();
    command->add_option("B", options->b, "The same; kinds and timescales may differ")->required();
    command->add_option("SIGNAL", options->signals,
                        "Full names (top.dut.data), bits (top.bus[7:4]), scopes, or patterns with "
                        "* and ?; all if none is given");
    command
        ->add_option("--from", options->from,
                     "Compare from this time on: a number in units of A's timescale, or with a "
                     "unit (12.5us)")
        ->type_name("TIME")
        ->check(timeArgument());
    command->add_option("--to", options->to, "Compare up to this time; to the ends if not given")
        ->type_name("TIME")
        ->check(timeArgument());
    command
        ->add_option("--ignore", options->ignored,
                     "Leave signals with such names out; may be given several times")
        ->type_name("PATTERN")
        ->allow_extra_args(false);
    options->radix.addTo(*command);
    addLenientOption(*command, options->isLenient);
    command->add_flag("--json", options->json, "JSON, for programs");
    addBeyondOption(*command, options->reach);
    command->footer(
        "Example:\n"
        "  tracewell diff golden.wdb run.vcd --from 100ns --ignore '*.debug_*'\n"
        "Prints, for each signal that is not the same in both runs, the first time at which it\n"
        "is not, and both values then (- for none); then the signals that only one run has, and\n"
        "where the runs end, if that differs. What counts is the last value of each time, and\n"
        "how often an event fires.\n"
        "Exit code 0 when the runs are the same, 1 when they differ, 2 for wrong usage and for\n"
        "trouble: a run that cannot be read, or not in full.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
