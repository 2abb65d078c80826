#pragma once

#include <string>
#include <vector>

namespace Tracewell {

/// How a child process ended and what it printed.
struct Outcome
{
    bool exited() const;
    /// -1 after a signal.
    int exitCode() const;
    /// For a failure's message: how it ended, and its standard error stream.
    std::string describe() const;

    std::string command;
    int status = 0;
    std::string out;
    std::string err;
    long peakKib = 0;
};

/// Runs a program to its end in `directory`, with no input. It is stopped, by a signal, when it
/// uses more processor time, memory or disk than any work on small files can need.
Outcome runProgram(const std::vector<std::string>& command, const std::string& directory);

} // namespace Tracewell
