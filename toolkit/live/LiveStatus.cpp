// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveStatus.h"

#include "files/Output.h"
#include "live/LiveViewer.h"
#include "names/TimeText.h"
#include "text/Counted.h"
#include "text/Utf8.h"

#include <fmt/format.h>

namespace tracewell {

namespace {

using Seconds = std::chrono::duration<double>;

/// Shorter delays are not told apart: whoever looks at the channel sleeps meanwhile.
constexpr Seconds kShortDelay{0.020};

const char* nameOf(LiveStatus::State state)
{
    switch (state) {
    case LiveStatus::State::Waiting:
        return "waiting";
    case LiveStatus::State::Interrupted:
        return "interrupted";
    case LiveStatus::State::Ended:
        return "ended";
    case LiveStatus::State::Following:
        break;
    }
    return "following";
}

std::string rateText(double rate)
{
    return rate >= 1e6 ? fmt::format("{:.2f} M changes/s", rate / 1e6)
                       : fmt::format("{:.0f} changes/s", rate);
}

std::string delayText(double seconds)
{
    if (Seconds(seconds) <= kShortDelay) {
        return "delay below 20 ms";
    }
    return seconds < 1 ? fmt::format("delay {:.0f} ms", seconds * 1e3)
                       : fmt::format("delay {:.1f} s", seconds);
}

} // namespace

LiveStatus::LiveStatus(const LiveViewer& viewer, const TimeText& timeText)
    : m_viewer(viewer), m_timeText(timeText), m_transit(viewer), m_measured(Clock::now())
{}

void LiveStatus::measure()
{
    const auto now = Clock::now();
    const unsigned long long count = m_viewer.changeCount();
    const double seconds = Seconds(now - m_measured).count();
    m_rate = seconds > 0 ? static_cast<double>(count - m_countBefore) / seconds : 0;
    m_delay = m_transit.takeDelay();
    m_countBefore = count;
    m_measured = now;
}

std::string LiveStatus::line(const std::string& name) const
{
    return fmt::format("{}: {}, {}, {}, {}, {}", printable(name),
                       m_timeText.format(m_viewer.latestTime()),
                       counted(m_viewer.changeCount(), "change"), rateText(m_rate),
                       delayText(m_delay), nameOf(m_state));
}

std::string
LiveStatus::jsonLine(const std::vector<std::pair<std::string, std::string>>& values) const
{
    std::string members;
    for (const auto& [label, value] : values) {
        members += fmt::format("{}{}: {}", members.empty() ? "" : ", ", jsonString(label),
                               jsonString(value));
    }
    return fmt::format("{{\"state\": \"{}\", \"time\": {}, \"changes\": {}, \"rate\": {:.0f}, "
                       "\"delay\": {:.3f}, \"values\": {{{}}}}}",
                       nameOf(m_state), m_viewer.latestTime(), m_viewer.changeCount(), m_rate,
                       m_delay, members);
}

} // namespace tracewell
