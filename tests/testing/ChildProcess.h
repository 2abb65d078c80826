// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/TestFiles.h"

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

/// A program that runs beside the test. It is killed with its guard. Bounded like runProgram's.
class RunningProgram
{
public:
    /// Its input is a pipe from write(), or nothing.
    RunningProgram(const std::vector<std::string>& command, const std::string& directory,
                   bool hasInput = false);
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram();

    void write(const std::string& text);
    void closeInput();
    /// False when it does not come: the program has ended, or half a minute has passed.
    bool waitForOutput(const std::string& part) const;
    bool waitForError(const std::string& part) const;
    void signal(int number);
    Outcome wait();

private:
    bool waitForPart(const std::string& file, const std::string& part) const;
    bool hasEnded() const;

    const TestDirectory m_scratch;
    Outcome m_outcome;
    int m_process = -1;
    int m_input = -1;
};

} // namespace Tracewell
