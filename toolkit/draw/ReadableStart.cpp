// SPDX-License-Identifier: BSD-3-Clause

#include "draw/Picture.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tracewell {

namespace {

/// Of what the lanes show, the part that may be unreadable: a clock beside slower signals does not
/// make a picture worthless.
constexpr double kMostOfWhole = 1.0 / 4;
/// Of a part it may be less: when there is a choice, values are to be seen.
constexpr double kMostOfPart = 1.0 / 8;

/// The part of a lane that nobody can read, 0 to 1; none for a lane without anything in it.
std::optional<double> unreadablePart(const Lane& lane, const TimeWindow& window,
                                     const PictureScale& scale)
{
    const double span = std::max(1.0, static_cast<double>(window.to - window.from));
    if (lane.signal.valueKind->fires()) {
        const double taken = static_cast<double>(lane.firings.size()) * scale.narrowest;
        return lane.firings.empty() ? std::nullopt
                                    : std::optional(taken > scale.wave / 2 ? 1.0 : 0.0);
    }
    double all = 0;
    double unreadable = 0;
    for (const LaneSegment& segment : lane.segments) {
        if (segment.look == Look::Blank) {
            continue;
        }
        const double length = static_cast<double>(segment.end - segment.start);
        const double places = length / span * scale.wave;
        const bool isText = segment.look >= Look::Bus && !lane.isCurve();
        const double room = std::max(places - scale.margin, 0.0) / scale.character;
        const bool isReadable =
            segment.look != Look::Dense && places >= scale.narrowest &&
            (!isText ||
             (!segment.text.empty() && !fitText(segment, static_cast<std::size_t>(room)).empty()));
        all += length;
        unreadable += isReadable ? 0 : length;
    }
    return all > 0 ? std::optional(unreadable / all) : std::nullopt;
}

/// Whether the lanes can be read in a window.
bool isReadable(const SignalValues& values, const TimeWindow& window, long long latestTime,
                const PictureScale& scale, double mostUnreadable)
{
    const ValueText valueText([&](long long id) { return values.lookUp(id); });
    double unreadable = 0;
    double count = 0;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        // A curve shows something at any zoom.
        const std::optional<double> part =
            values.signals()[i].curve != Curve::None
                ? 0.0
                : unreadablePart(makeLane(values, i, window, latestTime, 0, valueText), window,
                                 scale);
        unreadable += part.value_or(0);
        count += part ? 1 : 0;
    }
    return unreadable <= mostUnreadable * count;
}

/// One, two and five times the powers of ten of a second, or of the unit of time, below `longest`;
/// the largest first.
std::vector<long long> roundSpans(const TimeText& timeText, long long longest)
{
    const Timescale timescale = timeText.timescale();
    const double stated =
        std::max(1.0, static_cast<double>(timescale.factor)) * std::pow(10.0, timescale.exponent);
    const double unit = std::isnormal(stated) ? stated : 1.0;
    std::vector<long long> spans;
    const auto highest =
        static_cast<int>(std::ceil(std::log10(unit * static_cast<double>(longest))));
    for (int exponent = highest; unit * 0.5 < std::pow(10.0, exponent + 1); --exponent) {
        for (const int factor : {5, 2, 1}) {
            const double span = std::round(factor * std::pow(10.0, exponent) / unit);
            if (span >= 1 && span < static_cast<double>(longest)) {
                spans.push_back(static_cast<long long>(span));
            }
        }
    }
    return spans;
}

long long firstValue(const SignalValues& values, long long latestTime)
{
    long long first = latestTime;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        first = std::min(first, values.nextChange(i, -1).value_or(latestTime));
    }
    return first;
}

} // namespace

std::optional<TimeWindow> findReadableStart(const SignalValues& values, const Picture& whole,
                                            long long latestTime, const PictureScale& scale)
{
    TimeWindow window = whole.window;
    const auto isGood = [&](double most) {
        window.resolution =
            (window.to - window.from) / std::max(1LL, static_cast<long long>(scale.wave));
        return isReadable(values, window, latestTime, scale, most);
    };
    if (isGood(kMostOfWhole)) {
        return std::nullopt;
    }
    window.from = firstValue(values, latestTime);
    const long long longest = latestTime - window.from;
    if (longest < 1) {
        return std::nullopt;
    }
    for (const long long span : roundSpans(whole.timeText, longest)) {
        window.to = window.from + span;
        if (isGood(kMostOfPart)) {
            return window;
        }
    }
    // No zoom helps a run whose changes all lie at a few times.
    return std::nullopt;
}

} // namespace tracewell
