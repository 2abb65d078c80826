// SPDX-License-Identifier: BSD-3-Clause

#include "wave/RecordingEnd.h"

#include <fmt/format.h>

#include <limits>

namespace tracewell {

RecordingEnd::RecordingEnd(const Wholeness& wholeness, Reach reach, long long latestTime)
    : m_wholeness(wholeness), m_reach(reach), m_latestTime(latestTime),
      m_end(wholeness.isClosed || reach == Reach::Beyond ? std::numeric_limits<long long>::max()
                                                         : wholeness.upTo)
{}

void RecordingEnd::endAt(long long end)
{
    m_isCutByDamage = m_isCutByDamage || end < m_end;
    m_end = std::min(m_end, end);
}

std::optional<long long> RecordingEnd::damageEnd() const
{
    return m_isCutByDamage ? std::optional(m_end) : std::nullopt;
}

std::vector<std::string> RecordingEnd::shortfalls(const TimeText& timeText) const
{
    if (m_latestTime <= m_end) {
        return m_wholeness.hasEvents || m_reach == Reach::Beyond
                   ? std::vector<std::string>()
                   : std::vector{unclosedText() + ", and there is no event in it; record it again"};
    }
    return {
        endText(timeText) +
        (m_end < 0 ? ", so all of it was left out" : ", and what lies behind that was left out") +
        "; --beyond shows it, with values that may be in part"};
}

std::vector<std::string> RecordingEnd::notices(const TimeText& timeText) const
{
    const bool isShortOfAll = !m_wholeness.hasEvents && m_reach == Reach::Whole;
    if (m_latestTime > m_end || isShortOfAll) {
        return {};
    }
    if (m_wholeness.isClosed) {
        return m_wholeness.isKnown
                   ? std::vector<std::string>()
                   : std::vector{unclosedText() + ", for there is no event behind time 0 in it"};
    }
    return {endText(timeText) + (m_latestTime > m_wholeness.upTo
                                     ? ", and values behind that may be in part"
                                     : ", and nothing that could be read lies behind that")};
}

std::string RecordingEnd::unclosedText() const
{
    if (m_wholeness.isKnown) {
        return m_wholeness.isClosed ? std::string() : "its writer never closed it";
    }
    return "it cannot be told whether its writer closed it";
}

std::string RecordingEnd::endText(const TimeText& timeText) const
{
    const std::string upTo = m_wholeness.upTo < 0 ? "not known to be whole up to any time"
                                                  : fmt::format("whole up to time {}",
                                                                timeText.format(m_wholeness.upTo));
    return unclosedText() + "; it is " + upTo;
}

} // namespace tracewell
