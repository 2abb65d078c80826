// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"
#include "names/TimeText.h"

#include <string>
#include <string_view>

namespace tracewell {

/// Puts the times of two runs on one scale: counts of the largest unit that both timescales are
/// whole multiples of.
class CommonTime
{
public:
    /// \throws Failure when the timescales lie too far apart for that.
    CommonTime(const Timescale& a, const Timescale& b);

    // From a count of one run's timescale.
    // \throws Failure when the time has no place on the common scale.

    long long ofA(long long time) const { return scale(time, m_a); }
    long long ofB(long long time) const { return scale(time, m_b); }
    /// A time of the common scale on the scale of A, rounded down.
    long long toA(long long time) const { return time / m_a; }
    long long toB(long long time) const { return time / m_b; }

    /// A time argument: with a unit as it says, and in counts of the first run's timescale without.
    /// `source` is the option that it was given by.
    long long parse(std::string_view source, const std::string& text) const;
    const TimeText& text() const { return m_text; }

private:
    static long long scale(long long time, long long units);

    long long m_a = 1;
    long long m_b = 1;
    TimeText m_textOfA;
    TimeText m_text;
};

} // namespace tracewell
