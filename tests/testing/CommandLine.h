// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace Tracewell {

/// How a command of the tool ended, and what a person would see.
struct CommandResult
{
    int code = 0;
    std::string out;
    /// The error that ended the command, then what was told on the way.
    std::string error;
};

enum class ErrorStream {
    Captured,
    /// As it comes; for a process that may not live to its end.
    Open
};

/// Runs a command in this process, as main does but for the form of an error's line.
CommandResult runCommand(std::vector<std::string> arguments,
                         ErrorStream errors = ErrorStream::Captured);

} // namespace Tracewell
