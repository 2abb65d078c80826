// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "live/Transit.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

class LiveViewer;
class TimeText;

/// How the following of a simulation goes, measured and said in a line.
class LiveStatus
{
public:
    enum class State { Following, Waiting, Interrupted, Ended };

    /// `viewer` and `timeText` outlast it.
    LiveStatus(const LiveViewer& viewer, const TimeText& timeText);

    void setState(State state) { m_state = state; }
    /// As often as possible: the delay is as fine as the looks.
    void look() { m_transit.look(); }
    /// Rate and delay since the last measurement, for the lines to come.
    void measure();

    /// For people; `name` is that of the recording.
    std::string line(const std::string& name) const;
    /// For programs: an object with a label and a value for each of `values`.
    std::string jsonLine(const std::vector<std::pair<std::string, std::string>>& values) const;

private:
    using Clock = std::chrono::steady_clock;

    const LiveViewer& m_viewer;
    const TimeText& m_timeText;
    Transit m_transit;
    State m_state = State::Following;
    double m_rate = 0;
    double m_delay = 0;
    unsigned long long m_countBefore = 0;
    Clock::time_point m_measured;
};

} // namespace tracewell
