// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <ctime>

namespace tracewell::bench {

/// Wall time, and processor time of the calling thread and of all threads, since it was made, in
/// nanoseconds.
class Stopwatch
{
public:
    double wall() const { return now(CLOCK_MONOTONIC) - m_wall; }
    double thread() const { return now(CLOCK_THREAD_CPUTIME_ID) - m_thread; }
    double process() const { return now(CLOCK_PROCESS_CPUTIME_ID) - m_process; }

private:
    static double now(clockid_t clock)
    {
        timespec time{};
        clock_gettime(clock, &time);
        return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
    }

    double m_wall = now(CLOCK_MONOTONIC);
    double m_thread = now(CLOCK_THREAD_CPUTIME_ID);
    double m_process = now(CLOCK_PROCESS_CPUTIME_ID);
};

} // namespace tracewell::bench
