// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <iosfwd>

/// Measures this process's processor time and the time on the wall over stretches of work.
/// Processor times are whole seconds, each reading rounded to the nearest.
class TRACEWELL_API WdbRuntime
{
public:
    explicit WdbRuntime(bool startNow);

    /// Back to a stopped meter without any time.
    void clear();
    /// Starts the measure; does nothing while it runs.
    void start();
    /// Adds the stretch to the wall time. Does nothing while stopped.
    void stop();
    bool isRunning() const { return m_isRunning; }

    /// Seconds that this process has spent in the system for `kernel`, and outside of it otherwise,
    /// modulo 24 hours; 0 when the system does not tell.
    double getWindowsCpuTime(bool kernel) const;
    /// Since start; 0 while stopped.
    double getUserSecs() const;
    /// Since start, also while stopped.
    double getSysSecs() const;
    double getCpuSecs() const;
    /// Of all stretches, the one that runs included.
    double getWallSecs() const;
    /// User, system and wall seconds as in "2u 0s 2.481w", without an end of line. A stopped meter
    /// gives the processor times of its last stretch.
    void report(std::ostream& os) const;
    /// Writes what was measured to the standard output.
    void report() const;

private:
    int getRoundedSecs(bool kernel) const;

    int m_userAtStart = 0;
    int m_userMeasured = 0;
    int m_sysAtStart = 0;
    int m_sysMeasured = 0;
    /// Of the steady clock, as the wall time in milliseconds.
    long long m_clockAtStart = 0;
    long long m_wall = 0;
    bool m_isRunning = false;
};

/// Runs a meter for the time of a scope.
class WdbRuntimer
{
public:
    explicit WdbRuntimer(WdbRuntime& runtime) : m_runtime(runtime) { m_runtime.start(); }
    WdbRuntimer(const WdbRuntimer&) = delete;
    WdbRuntimer& operator=(const WdbRuntimer&) = delete;
    ~WdbRuntimer() { m_runtime.stop(); }

private:
    WdbRuntime& m_runtime;
};
