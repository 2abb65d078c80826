// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/RunOrder.h"
#include "commands/StoreOption.h"

#include <CLI/App.hpp>

#include <memory>
#include <string>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    Reach reach = Reach::Whole;
    Store store = Store::Columns;
};

void run(const Options& options)
{
    const RunOrder order{"pack",         "packing",           {options.input},
                         options.output, RunFormat::Database, options.store};
    makeRun(order,
            [&](const FinerTimes&) { return ChangeStream::open(options.input, options.reach); });
}

} // namespace

void addPackCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("pack", "Record a recording anew, in columns or another store");
    command->add_option("IN.wdb", options->input, "The wave database, whatever its store")
        ->required();
    command->add_option("OUT.wdb", options->output, "The wave database to make")->required();
    addChoice(*command, kStoreOption, options->store,
              Choices<Store>{{"columns", Store::Columns},
                             {"events", Store::Events},
                             {"indexed", Store::Indexed},
                             {"transitions", Store::Transitions}},
              "What to keep the recording in; columns if not given");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell pack run.wdb small.wdb\n"
                    "The histories of all signals are the same in both. What the killed writer of "
                    "the input\n"
                    "left is packed up to the time to which it is whole.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
