// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell {

/// While one exists, SIGINT, SIGTERM and SIGHUP are noted instead of ending the process on the
/// spot, so that an unfinished output can be taken away first; a second one ends it. SIGPIPE is
/// ignored: the write that it would have ended fails. One at a time.
class InterruptGuard
{
public:
    InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    ~InterruptGuard();

    /// In a child process: signals are left to the parent, whose guard check() here asks as well.
    static void leaveToParent();

    /// Ends the process as a closed pipe ends one that has no guard, without a word; returns where
    /// whoever started it has it ignore SIGPIPE.
    static void endByClosedPipe();

    /// Whether one of the signals came.
    bool isInterrupted() const;
    /// \throws Failure after one of the signals.
    void check() const;
};

} // namespace tracewell
