// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"

#include <string>

namespace tracewell {

class InterruptGuard;

/// Where the changes of a run go: a file of some format, made of a stream's steps one by one.
class RunOutput
{
public:
    RunOutput() = default;
    RunOutput(const RunOutput&) = delete;
    RunOutput& operator=(const RunOutput&) = delete;
    virtual ~RunOutput() = default;

    /// Takes the step at hand of the stream whose declarations the output was made with.
    /// \throws Failure when it cannot be kept.
    virtual void write(ChangeStream& changes) = 0;
    /// Now and then.
    /// \throws Failure when the storage has failed.
    virtual void check() {}
    /// The run goes up to `end`, and all of it was written; as OutputFile::finish.
    virtual std::string finish(long long end, bool isWhole) = 0;
};

/// Writes all steps and finishes; answers what the output's end has to say. `verb` is for the
/// progress bar.
std::string writeRun(ChangeStream& changes, RunOutput& output, const char* verb,
                     const InterruptGuard& interrupt);

} // namespace tracewell
