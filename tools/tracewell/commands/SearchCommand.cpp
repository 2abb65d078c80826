// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/OptionValues.h"
#include "commands/RadixOption.h"
#include "commands/RunOrder.h"
#include "commands/WindowOptions.h"
#include "files/Output.h"
#include "files/ProgressBar.h"
#include "input/FileKind.h"
#include "search/Search.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/ObservedValue.h"
#include "wave/SignalSelection.h"

#include "QsimException.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

namespace {

/// As grep has it: 1 is an answer.
constexpr int kNoneFound = 1;
constexpr int kTrouble = 2;

struct Options
{
    std::string file;
    std::string expression;
    std::string on;
    bool isSampledAt = false;
    std::string atLeast;
    std::vector<std::string> pair;
    bool isMissed = false;
    std::string scope;
    std::vector<std::string> shown;
    WindowOptions window;
    bool isFirst = false;
    bool isCount = false;
    unsigned long long most = std::numeric_limits<unsigned long long>::max();
    bool json = false;
    RadixOption radix;
    bool isLenient = false;
    Reach reach = Reach::Whole;
};

/// Prints matches as they come.
class MatchPrinter
{
public:
    MatchPrinter(const Options& options, const TimeText& timeText, std::vector<Signal> signals,
                 std::string endTitle, long long latest)
        : m_options(options), m_timeText(timeText), m_signals(std::move(signals)),
          m_format(columns(endTitle, latest)), m_hasEnd(!endTitle.empty())
    {}

    void print(const SearchMatch& match)
    {
        if (m_options.json) {
            printJson(match);
        } else if (!m_options.isCount) {
            printText(match);
        }
    }

    void finish(unsigned long long matches, bool isCut)
    {
        if (m_options.json) {
            m_out << fmt::format("{{\"matches\":{},\"cut\":{},\"timescale\":{}}}\n", matches, isCut,
                                 m_timeText.hasTimescale() ? jsonString(m_timeText.timescaleText())
                                                           : "null");
        } else if (m_options.isCount) {
            m_out << fmt::format("{}\n", matches);
        }
        m_out.finish();
    }

private:
    std::vector<ColumnFormat::Column> columns(const std::string& endTitle, long long latest) const
    {
        const std::size_t width = std::to_string(latest).size();
        std::vector<ColumnFormat::Column> columns;
        columns.push_back({m_timeText.hasTimescale()
                               ? fmt::format("time ({})", m_timeText.timescaleText())
                               : "time",
                           ColumnFormat::Align::Right, width});
        if (!endTitle.empty()) {
            columns.push_back({endTitle, ColumnFormat::Align::Right, width});
        }
        for (const Signal& signal : m_signals) {
            columns.push_back({signal.label});
        }
        return columns;
    }

    std::optional<std::string> valueOf(const SearchMatch& match, std::size_t index)
    {
        return m_values.format(m_signals[index],
                               {match.values[index], match.values[index].empty() ? 0u : 1u});
    }

    void printText(const SearchMatch& match)
    {
        if (!m_isTitled) {
            m_out << m_format.titles();
            m_isTitled = true;
        }
        std::vector<std::string> line{std::to_string(match.begin)};
        if (m_hasEnd) {
            line.push_back(match.end ? std::to_string(*match.end) : match.isOpen ? "?" : "-");
        }
        for (std::size_t i = 0; i < m_signals.size(); ++i) {
            line.push_back(valueOf(match, i).value_or(""));
        }
        m_out << m_format.line(line);
    }

    void printJson(const SearchMatch& match)
    {
        m_out << fmt::format("{{\"time\":{},\"end\":{}", match.begin,
                             match.end ? std::to_string(*match.end) : "null");
        if (!m_options.pair.empty()) {
            m_out << fmt::format(",\"open\":{}", match.isOpen);
        }
        m_out << ",\"values\":{";
        const char* separator = "";
        for (std::size_t i = 0; i < m_signals.size(); ++i) {
            const std::optional<std::string> value = valueOf(match, i);
            m_out << separator << jsonString(m_signals[i].label) << ":"
                  << (value ? jsonString(*value) : "null");
            separator = ",";
        }
        m_out << "}}\n";
    }

    const Options& m_options;
    const TimeText& m_timeText;
    const std::vector<Signal> m_signals;
    const ColumnFormat m_format;
    bool m_hasEnd;
    bool m_isTitled = false;
    ObservedValueText m_values;
    Output m_out;
};

/// The signals to show: their names are looked for as those of the expression are.
std::vector<Signal> shownSignals(const Options& options, const SignalNames& names)
{
    std::vector<std::string> arguments;
    for (const std::string& shown : options.shown) {
        std::vector<std::string> ways;
        for (std::string scope = options.scope; !scope.empty();) {
            ways.push_back(scope + "." + shown);
            const std::size_t dot = scope.rfind('.');
            scope.resize(dot == std::string::npos ? 0 : dot);
        }
        ways.push_back(shown);
        ways.push_back("*." + shown);
        const auto fits = [&](const std::string& way) {
            try {
                selectSignals(names, {way});
                return true;
            } catch (const Failure&) {
                return false;
            }
        };
        const auto way = std::find_if(ways.begin(), ways.end(), fits);
        arguments.push_back(way == ways.end() ? shown : *way);
    }
    return selectSignals(names, arguments);
}

SearchOrder orderOf(const Options& options, const TimeText& timeText)
{
    SearchOrder order;
    order.expression = {options.expression, "EXPRESSION"};
    if (!options.pair.empty()) {
        order.expression = {options.pair[0], "--within"};
        order.follower = ExpressionText{options.pair[1], "--within"};
        order.within = timeText.parse("--within", options.pair[2], Rounding::Down);
    }
    if (!options.on.empty()) {
        order.on = ExpressionText{options.on, "--on"};
    }
    order.isSampledAt = options.isSampledAt;
    if (!options.atLeast.empty()) {
        order.atLeast = timeText.parse("--for", options.atLeast, Rounding::Up);
    }
    order.scope = options.scope;
    const TimeWindow window =
        options.window.window(timeText, std::numeric_limits<long long>::max());
    order.from = window.from;
    order.to = window.to;
    order.areEndsOpen = options.isFirst;
    return order;
}

std::string endTitleOf(const Options& options, const Search& search)
{
    return !options.pair.empty()      ? "followed"
           : search.findsStretches()  ? "until"
           : options.on.empty()       ? ""
           : !options.atLeast.empty() ? "to"
           : search.findsSequences()  ? "complete"
                                      : "";
}

/// How many matches there are, as far as they were looked for.
unsigned long long searchOnce(const Options& options, const FinerTimes& finer)
{
    const std::unique_ptr<ChangeStream> changes =
        openInputRun(options.file, finer, options.isLenient, options.reach);
    SignalNames names(options.file);
    if (isRun(options.file)) {
        names.listIn(options.file);
    }
    names.take(changes->declarations());
    SearchOrder order = orderOf(options, names.timeText());
    std::vector<Signal> signals;
    if (!options.shown.empty()) {
        signals = shownSignals(options, names);
        options.radix.apply(names, signals);
    }
    for (const Signal& signal : signals) {
        order.shown.push_back(objectOf(names, signal));
    }
    const long long last = std::min(order.to, changes->latestTime());
    Search search(*changes, names, std::move(order));
    MatchPrinter printer(options, names.timeText(), std::move(signals), endTitleOf(options, search),
                         last);
    const unsigned long long most = options.isFirst ? 1 : options.most;
    unsigned long long matches = 0;
    bool isCut = false;
    const auto onMatch = [&](SearchMatch& match) {
        if (options.isMissed && match.end) {
            return true;
        }
        if (matches >= most) {
            isCut = true;
            return false;
        }
        ++matches;
        printer.print(match);
        return !options.isFirst;
    };
    if (options.isCount) {
        ProgressBar bar("searching");
        search.run(onMatch, [&](double fraction, long long /*time*/) {
            bar.update(fraction);
            return true;
        });
    } else {
        search.run(onMatch, [](double, long long) { return true; });
    }
    printer.finish(matches, isCut);
    if (isCut) {
        tell(fmt::format("{}: there are more than {} matches; raise --max for the others",
                         options.file, most));
    }
    if (tellShortfalls(options.file, *changes)) {
        throw CLI::RuntimeError(kTrouble);
    }
    return matches;
}

void run(const Options& options)
{
    if (options.expression.empty() == options.pair.empty()) {
        throw CLI::ValidationError(
            "EXPRESSION",
            options.pair.empty()
                ? "what to look for is missing; name a condition, or two with --within"
                : "--within has both conditions already; leave the other out");
    }
    unsigned long long matches = 0;
    try {
        withFinerTimes([&](const FinerTimes& finer) { matches = searchOnce(options, finer); });
    } catch (const Failure& e) {
        throw Failure(e.what(), kTrouble);
    } catch (const Qsim::Exception& e) {
        throw Failure(e.getMessage(), kTrouble);
    } catch (const std::bad_alloc&) {
        throw Failure("the memory does not suffice; show fewer signals", kTrouble);
    }
    if (matches == 0) {
        throw CLI::RuntimeError(kNoneFound);
    }
}

} // namespace

void addSearchCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("search", "Find when a condition on signals is true");
    command
        ->add_option("FILE", options->file,
                     "A wave database, or a VCD, FST or GHW file; - for "
                     "a VCD on the standard input")
        ->required();
    command->add_option("EXPRESSION", options->expression,
                        "A condition in the words of SystemVerilog, or with --on a sequence: "
                        "'a ##[1:5] b'");
    command
        ->add_option("--on", options->on,
                     "Look at such events alone, just before they change anything: 'posedge clk "
                     "iff rst_n'")
        ->type_name("EVENT");
    addChoice(*command, "--sample", options->isSampledAt,
              Choices<bool>{{"before", false}, {"at", true}},
              "Whether --on sees the values just before its event, or those from it on; before if "
              "not given")
        ->needs("--on");
    command
        ->add_option("--for", options->atLeast, "Only where the condition is true so long at least")
        ->type_name("TIME")
        ->check(timeArgument());
    command
        ->add_option("--within", options->pair,
                     "In place of EXPRESSION: when B follows A, and when it does not so soon")
        ->type_name("A B TIME")
        ->type_size(3)
        ->expected(1)
        ->allow_extra_args(false)
        ->excludes("--for");
    command
        ->add_flag("--missed", options->isMissed, "Of --within: only what is not followed so soon")
        ->needs("--within");
    command
        ->add_option("--scope", options->scope,
                     "The scope in which names are looked for first, then in those around it")
        ->type_name("SCOPE");
    command
        ->add_option("--show", options->shown,
                     "Print what these signals are then: full names, bits, scopes or patterns; may "
                     "be given several times")
        ->type_name("SIGNAL")
        ->allow_extra_args(false);
    options->window.addTo(*command);
    CLI::Option* const first =
        command->add_flag("--first", options->isFirst, "Only the first match, without its end");
    CLI::Option* const most = command->add_option("--max", options->most, "At most so many matches")
                                  ->type_name("N")
                                  ->transform(wholeNumber(1, std::numeric_limits<long long>::max()))
                                  ->excludes(first);
    command->add_flag("--count", options->isCount, "Only how many matches there are")
        ->excludes(first)
        ->excludes(most);
    command->add_flag("--json", options->json, "JSON, a line for each match, for programs");
    options->radix.addTo(*command);
    addLenientOption(*command, options->isLenient);
    addBeyondOption(*command, options->reach);
    command->footer(
        "Examples:\n"
        "  tracewell search run.wdb 'top.valid && !top.ready' --for 100ns\n"
        "  tracewell search run.wdb 'req ##[1:5] gnt' --on 'posedge clk' --scope top.dut\n"
        "  tracewell search run.wdb --within 'req' 'ack' 200ns --missed --show top.state\n"
        "Without --on a match is a stretch in which the condition is true. With $rose, $fell,\n"
        "$stable, $changed or $past it is each moment at which it is; these look back to the\n"
        "last moment at which a signal of the condition changed, and with --on to the last\n"
        "sample. What has no value yet is x; of nine states u w - are x, l is 0, h is 1.\n"
        "Exit code 0 when something is found, 1 when nothing is, 2 for wrong usage and trouble.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
