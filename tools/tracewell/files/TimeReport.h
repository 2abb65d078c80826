#pragma once

namespace CLI {
class App;
}

namespace tracewell {

/// What the option --time of every command writes at the command's end: the processor time of this
/// process and the time on the wall.
class TimeReport
{
public:
    /// Gives all subcommands of the program the option. The meter runs from here on.
    static void addTo(CLI::App& app);
    /// One line on the standard error stream, if it was asked for and nobody has written it.
    static void write();
    /// A child process does the work, and writes the line when that is done.
    static void leaveToChild();
};

} // namespace tracewell
