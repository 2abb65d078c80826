// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace CLI {
class App;
}

namespace tracewell {

/// Makes it the whole command line: what it is called, tells of itself, and has as commands.
void describeApp(CLI::App& app);
/// Adds every subcommand, in the order in which --help lists them, and what all of them take.
void addCommands(CLI::App& app);

// Each adds its subcommand to the command line; the subcommand's callback does the work. A callback
// throws Failure to end with its exit code, or CLI::RuntimeError with a code of its own.

void addImportCommand(CLI::App& app);
void addExportCommand(CLI::App& app);
void addPackCommand(CLI::App& app);
void addSliceCommand(CLI::App& app);
void addMergeCommand(CLI::App& app);
void addInfoCommand(CLI::App& app);
void addSignalsCommand(CLI::App& app);
void addValuesCommand(CLI::App& app);
void addNextPreviousCommands(CLI::App& app);
void addFindCommand(CLI::App& app);
void addSearchCommand(CLI::App& app);
void addStatsCommand(CLI::App& app);
void addDrawCommand(CLI::App& app);
void addViewCommand(CLI::App& app);
void addDiffCommand(CLI::App& app);
void addEventsCommand(CLI::App& app);
void addVerifyCommand(CLI::App& app);
void addReplayCommand(CLI::App& app);
void addFollowCommand(CLI::App& app);
void addVpiPathCommand(CLI::App& app);

} // namespace tracewell
