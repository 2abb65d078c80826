// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tracewell {

/// The lines of a simulation's log, with the times that they tell.
class TimedLog
{
public:
    struct Line
    {
        std::string text;
        /// That of the line, or of the last one before it that tells any; below 0 before these.
        long long time = -1;
        bool hasTime = false;
    };

    /// `pattern` is a regular expression whose first group is a time, as a number in units of the
    /// recording's timescale or with a unit; empty for "@ TIME", "[TIME]", "time: TIME" and the
    /// like at the start of a line.
    /// \throws Failure when it cannot be read, or the pattern makes no sense.
    TimedLog(const std::string& path, const std::string& pattern, const TimeText& timeText);

    const std::vector<Line>& lines() const { return m_lines; }
    /// The last line with a time not behind `time`; the number of lines for none.
    std::size_t lineAt(long long time) const;

private:
    std::vector<Line> m_lines;
};

} // namespace tracewell
