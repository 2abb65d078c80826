// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalValues.h"
#include "wave/ValueText.h"

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
    Uninitialized, ///< u; a whole bus too
    Weak,          ///< w; a whole bus too
    WeakLow,       ///< l
    WeakHigh,      ///< h
    DontCare,      ///< -; a whole bus too
    Bus,           ///< a value that is told by its text
    BusFloating,   ///< a bus with some bits z, the others known
    BusInPart      ///< a bus with some bits unknown
};

/// How a value's text may be made shorter.
enum class TextForm {
    Plain,  ///< loses its end
    Digits, ///< zeros in front go first
    Real    ///< the number, with fewer digits
};

struct LaneSegment
{
    long long start = 0;
    long long end = 0;
    Look look = Look::Blank;
    /// Empty for stretches that have no room for any text; of a level its letter.
    std::string text;
    /// All letters of a vector, where a digit stands for several kinds of them; mostly empty.
    std::string letters;
    TextForm form = TextForm::Plain;
    /// Of a real, and of a lane with a curve, where it is NaN for no number.
    double number = 0;
    /// Of a curve: where changes lie too close for the picture, between what the number went.
    double lowest = 0;
    double highest = 0;
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

    bool isCurve() const { return signal.curve != Curve::None; }
    /// Between what the numbers of the segments lie; false when there are none.
    bool getRange(double& lowest, double& highest) const;
};

/// Looks at one signal through the window. Text is made only for stretches of at least
/// `shortestText` units of time.
Lane makeLane(const SignalValues& values, std::size_t signal, const TimeWindow& window,
              long long latestTime, long long shortestText, const ValueText& valueText);

/// A segment's text in at most `room` places of a character; empty when nothing that fits would
/// tell anything.
std::string fitText(const LaneSegment& segment, std::size_t room);

/// What the bottom and the top of a curve stand for.
struct CurveLimits
{
    std::string lowest;
    /// Behind a "+" it is how far above the lowest the top is, where the two read alike otherwise;
    /// empty for a curve that is constant.
    std::string highest;
};

/// In at most `room` places each; empty when the lane has no numbers.
CurveLimits limitsOf(const Lane& lane, std::size_t room);

/// The letter of a look that is no bus: x, z, u, ...
char letterOf(Look look);

} // namespace tracewell
