// SPDX-License-Identifier: BSD-3-Clause

#include "changes/SlicedChanges.h"
#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/RunOrder.h"
#include "commands/StoreOption.h"
#include "commands/WindowOptions.h"
#include "input/FileKind.h"
#include "text/Failure.h"
#include "wave/SignalSelection.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    std::vector<std::string> signals;
    WindowOptions window;
    bool isLenient = false;
    Reach reach = Reach::Whole;
    Store store = Store::Columns;
};

/// The chosen variables, ascending; all if none was named.
std::vector<std::size_t> variablesOf(const Options& options, const Declarations& declarations)
{
    SignalNames names(options.input);
    if (isRun(options.input)) {
        names.listIn(options.input);
    }
    names.take(declarations);
    const std::vector<Signal> all = allSignals(names);
    std::vector<char> isChosen(all.size(), options.signals.empty() ? 1 : 0);
    if (!options.signals.empty()) {
        std::unordered_map<std::string, std::size_t> places;
        for (std::size_t i = 0; i < all.size(); ++i) {
            places.emplace(all[i].label, i);
        }
        for (const Signal& signal : selectSignals(names, options.signals)) {
            const auto place = places.find(signal.label);
            if (place == places.end()) {
                throw Failure(fmt::format("{}: a slice takes whole variables; name {}",
                                          signal.label,
                                          signal.whole.empty() ? "one" : signal.whole));
            }
            isChosen[place->second] = 1;
        }
    }
    std::vector<std::size_t> variables;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (isChosen[i] != 0) {
            variables.push_back(i);
        }
    }
    return variables;
}

/// Wrong usage is a failure here, since the command's process may be another one.
TimeWindow windowOf(const Options& options, const Timescale& timescale)
{
    constexpr int kWrongUsage = 2;
    try {
        return options.window.window(TimeText(timescale), std::numeric_limits<long long>::max());
    } catch (const CLI::ValidationError& e) {
        throw Failure(e.what(), kWrongUsage);
    }
}

std::unique_ptr<ChangeStream> openSlice(const Options& options, const FinerTimes& finer)
{
    std::unique_ptr<ChangeStream> changes =
        openInputRun(options.input, finer, options.isLenient, options.reach);
    const TimeWindow window = windowOf(options, changes->declarations().timescale);
    if (!isRun(options.input) && window.from > changes->latestTime()) {
        throw Failure(
            fmt::format("{}: the recording ends at {}, before the stretch; choose an "
                        "earlier --from",
                        options.input,
                        TimeText(changes->declarations().timescale).format(changes->latestTime())));
    }
    const std::vector<std::size_t> variables = variablesOf(options, changes->declarations());
    return std::make_unique<SlicedChanges>(std::move(changes), variables, window.from, window.to);
}

void run(const Options& options)
{
    const RunOrder order{
        "slice",      "slicing", {options.input}, options.output, runFormatOf(options.output),
        options.store};
    makeRun(order, [&](const FinerTimes& finer) { return openSlice(options, finer); });
}

} // namespace

void addSliceCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("slice", "Make a recording of a stretch of time and some signals");
    command->add_option("IN", options->input, "The wave database, or a VCD, FST or GHW file")
        ->required();
    command
        ->add_option("OUT", options->output,
                     "The .wdb, .vcd or .fst to make; - is the standard output and takes a VCD")
        ->required();
    command->add_option("SIGNAL", options->signals,
                        "Full names (top.dut.data), scopes, or patterns with * and ?; all if none "
                        "is given");
    options->window.addTo(*command);
    addChoice(*command, kStoreOption, options->store,
              Choices<Store>{{"columns", Store::Columns},
                             {"events", Store::Events},
                             {"indexed", Store::Indexed},
                             {"transitions", Store::Transitions}},
              "What a .wdb is kept in; columns if not given");
    addBeyondOption(*command, options->reach);
    addLenientOption(*command, options->isLenient);
    command->footer("Example:\n"
                    "  tracewell slice run.wdb late.wdb --from 1ms --to 1.2ms 'top.dut.*'\n"
                    "At its start every signal has the value that holds there; times stay what\n"
                    "they were.");
    command->callback([options, command] {
        if (command->count(kStoreOption) > 0 &&
            runFormatOf(options->output) != RunFormat::Database) {
            throw CLI::ValidationError(kStoreOption,
                                       "is for an output that ends in .wdb; leave it out");
        }
        run(*options);
    });
}

} // namespace tracewell
