// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"

#include "files/TimeReport.h"

#include <CLI/App.hpp>

#include <string>

namespace tracewell {

void describeApp(CLI::App& app)
{
    app.name("tracewell");
    app.description("Records, inspects and draws waveform databases (.wdb).");
    app.set_version_flag("-V,--version", std::string("tracewell ") + TRACEWELL_VERSION);
    app.require_subcommand(1);
    app.footer("Example:\n"
               "  tracewell import run.vcd run.wdb && tracewell draw run.wdb -o run.svg\n"
               "`tracewell COMMAND --help`, or `tracewell help COMMAND`, tells of each command.");
    addCommands(app);
}

void addCommands(CLI::App& app)
{
    addImportCommand(app);
    addInfoCommand(app);
    addSignalsCommand(app);
    addValuesCommand(app);
    addNextPreviousCommands(app);
    addFindCommand(app);
    addSearchCommand(app);
    addStatsCommand(app);
    addDrawCommand(app);
    addViewCommand(app);
    addExportCommand(app);
    addPackCommand(app);
    addSliceCommand(app);
    addMergeCommand(app);
    addDiffCommand(app);
    addEventsCommand(app);
    addVerifyCommand(app);
    addReplayCommand(app);
    addFollowCommand(app);
    addVpiPathCommand(app);

    TimeReport::start();
    for (CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
        command->add_flag("--time", TimeReport::isWanted(),
                          "Tell at the end what it took: seconds in the program (u), in the "
                          "system (s) and on the wall (w)");
    }
}

} // namespace tracewell
