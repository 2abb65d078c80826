// SPDX-License-Identifier: BSD-3-Clause

#include "changes/JoinedChanges.h"
#include "changes/MergedChanges.h"
#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/RunOrder.h"
#include "commands/StoreOption.h"
#include "text/Failure.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

struct Options
{
    std::string output;
    std::vector<std::string> inputs;
    bool areSegments = false;
    bool isLenient = false;
    Reach reach = Reach::Whole;
    Store store = Store::Columns;
};

struct Input
{
    std::string scope;
    std::string path;
};

/// "NAME=FILE", unless there is a file of just that name. Without a name the file's own without its
/// suffix, and a number where that is not enough.
std::vector<Input> inputsOf(const Options& options)
{
    std::vector<Input> inputs;
    const auto isTaken = [&](const std::string& scope) {
        return std::any_of(inputs.begin(), inputs.end(),
                           [&](const Input& input) { return input.scope == scope; });
    };
    for (const std::string& argument : options.inputs) {
        const std::size_t equals = argument.find('=');
        const bool isNamed = equals != std::string::npos && equals > 0 &&
                             argument.find('/') > equals && !std::filesystem::exists(argument);
        Input input{isNamed ? argument.substr(0, equals) : "",
                    isNamed ? argument.substr(equals + 1) : argument};
        if (isNamed && isTaken(input.scope)) {
            throw Failure(fmt::format("{}: another input has that name", input.scope));
        }
        if (!isNamed) {
            const std::string stem =
                input.path == "-" ? "input" : std::filesystem::path(input.path).stem().string();
            input.scope = stem;
            for (int number = 2; isTaken(input.scope); ++number) {
                input.scope = fmt::format("{}_{}", stem, number);
            }
        }
        inputs.push_back(std::move(input));
    }
    return inputs;
}

std::unique_ptr<ChangeStream> openAll(const Options& options, const std::vector<Input>& inputs,
                                      const FinerTimes& finer)
{
    std::vector<MergedChanges::Part> parts;
    std::vector<JoinedChanges::Segment> segments;
    for (const Input& input : inputs) {
        auto changes = openInputRun(input.path, finer, options.isLenient, options.reach);
        if (options.areSegments) {
            segments.push_back({input.path, std::move(changes)});
        } else {
            parts.push_back({input.scope, input.path, std::move(changes)});
        }
    }
    if (options.areSegments) {
        return std::make_unique<JoinedChanges>(std::move(segments));
    }
    return std::make_unique<MergedChanges>(std::move(parts));
}

void run(const Options& options)
{
    const std::vector<Input> inputs = inputsOf(options);
    RunOrder order{"merge",      "merging", {}, options.output, runFormatOf(options.output),
                   options.store};
    for (const Input& input : inputs) {
        order.inputs.push_back(input.path);
    }
    if (std::count(order.inputs.begin(), order.inputs.end(), "-") > 1) {
        throw Failure("the standard input is one run; name files for the others");
    }
    makeRun(order, [&](const FinerTimes& finer) { return openAll(options, inputs, finer); });
}

} // namespace

void addMergeCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("merge", "Make one recording of several");
    command
        ->add_option("OUT", options->output,
                     "The .wdb, .vcd or .fst to make; - is the standard output and takes a VCD")
        ->required();
    command
        ->add_option("IN", options->inputs,
                     "Wave databases, or VCD, FST or GHW files; NAME=FILE names the scope that the "
                     "file's names get, its own name does otherwise")
        ->required();
    command->add_flag("--segments", options->areSegments,
                      "They are segments of one run, in any order: the names are the same in all, "
                      "and stay as they are");
    addChoice(*command, kStoreOption, options->store,
              Choices<Store>{{"columns", Store::Columns},
                             {"events", Store::Events},
                             {"indexed", Store::Indexed},
                             {"transitions", Store::Transitions}},
              "What a .wdb is kept in; columns if not given");
    addBeyondOption(*command, options->reach);
    addLenientOption(*command, options->isLenient);
    command->footer("Example:\n"
                    "  tracewell merge both.wdb rtl=verilog.fst model=vhdl.ghw\n"
                    "  tracewell merge whole.wdb --segments run.0.wdb run.1.wdb\n"
                    "Times of runs with different timescales are told in the finest unit that all\n"
                    "of them need.");
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
