// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell {

/// What the option --time of every command writes at the command's end: the processor time of this
/// process and the time on the wall.
class TimeReport
{
public:
    /// The meter runs from here on.
    static void start();
    /// Whether the line is asked for; for an option.
    static bool& isWanted();
    /// One line on the standard error stream, if it was asked for and nobody has written it.
    static void write();
    /// A child process does the work, and writes the line when that is done.
    static void leaveToChild();
};

} // namespace tracewell
