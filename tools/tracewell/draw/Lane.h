#pragma once

#include "text/ValueText.h"
#include "wave/SignalValues.h"

#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// How a stretch of a lane looks.
enum class Look {
    Blank, ///< no value was recorded yet
    Dense,
    Low,
    High,
    Unknown,       ///< x; a whole bus too
    HighImpedance, ///< z; a whole bus too
    Uninitialized, ///< u
    Weak,          ///< w
    WeakLow,       ///< l
    WeakHigh,      ///< h
    DontCare,      ///< -
    Bus,           ///< a value that is told by its text
    BusInPart      ///< a bus with some bits unknown
};

struct LaneSegment
{
    long long start = 0;
    long long end = 0;
    Look look = Look::Blank;
    /// Of the looks that stand for a bus; empty for stretches that have no room for any text.
    std::string text;
    /// The value came up at `start`, not before the window.
    bool startsHere = true;
};

/// One signal's part of a picture.
struct Lane
{
    Signal signal;
    /// From the start of the window to its end or that of the recording, one behind the other.
    std::vector<LaneSegment> segments;
    /// Of an event: the times at which it fired.
    std::vector<long long> firings;
};

/// Looks at one signal through the window. Text is made only for stretches of at least
/// `shortestText` units of time.
Lane makeLane(const SignalValues& values, std::size_t signal, const TimeWindow& window,
              long long latestTime, long long shortestText, const ValueText& valueText);

} // namespace tracewell
