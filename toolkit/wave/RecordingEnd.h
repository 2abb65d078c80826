// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/wdb/Wholeness.h"
#include "names/TimeText.h"
#include "wave/Shortfalls.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// Where what is shown of a recording ends: of one that was never closed at the time to which it is
/// whole, unless somebody wants to see beyond; of a damaged one before the damage.
class RecordingEnd
{
public:
    /// Of a recording that is shown as far as it goes.
    RecordingEnd() = default;
    /// `latestTime` is that of what can be read.
    RecordingEnd(const Wholeness& wholeness, Reach reach, long long latestTime);

    /// What comes behind it is to be left out. Below 0 when that is everything.
    long long get() const { return m_end; }
    /// Whether anything comes behind it.
    bool isCut() const { return m_latestTime > m_end; }
    long long latestTime() const
    {
        // A run may have come further than its last event.
        return std::max(std::min(std::max(m_latestTime, m_wholeness.upTo), m_end), 0LL);
    }
    /// Damage leaves nothing whole behind `end`.
    void endAt(long long end);
    /// None while no damage has brought the end down.
    std::optional<long long> damageEnd() const;

    // What Shortfalls tells of a recording in which no damage was met.

    std::vector<std::string> shortfalls(const TimeText& timeText) const;
    std::vector<std::string> notices(const TimeText& timeText) const;
    /// That its writer never closed it, or may not have; empty where it did.
    std::string unclosedText() const;

private:
    std::string endText(const TimeText& timeText) const;

    Wholeness m_wholeness;
    Reach m_reach = Reach::Whole;
    long long m_latestTime = 0;
    long long m_end = 0;
    bool m_isCutByDamage = false;
};

} // namespace tracewell
