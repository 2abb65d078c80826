// SPDX-License-Identifier: BSD-3-Clause

#include "draw/TimeRuler.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

using Wide = __int128;

/// Characters that stay free between two labels.
constexpr double kLabelGap = 3;
/// Keeps times far below the range of Wide; no timescale is coarser.
constexpr Wide kLargestFactor = 1000000000000000;
/// Room for ticks even when labels are short.
constexpr double kFewestCharacters = 8;

/// The window in units of ten to the power of `exponent` seconds.
struct Scale
{
    Wide from = 0;
    Wide to = 0;
    int exponent = 0;
    bool hasUnit = false;
};

std::string labelOf(const Scale& scale, Wide time)
{
    if (!scale.hasUnit) {
        return TimeText::formatScaled(static_cast<unsigned __int128>(time), 0, 0);
    }
    // One unit for all labels: the one in which the end of the window has a digit before the point.
    int magnitude = scale.exponent;
    for (Wide rest = scale.to; rest >= 10; rest /= 10) {
        ++magnitude;
    }
    const int unit = TimeText::unitExponent(magnitude);
    return fmt::format(
        "{} {}", TimeText::formatScaled(static_cast<unsigned __int128>(time), scale.exponent, unit),
        TimeText::unitName(unit));
}

Wide firstMultiple(Wide step, Wide from)
{
    return (from + step - 1) / step * step;
}

/// The distance of two labels in characters, given the step between them.
double charactersNeeded(const Scale& scale, Wide step)
{
    const Wide last = scale.to / step * step;
    const std::size_t longest = std::max(labelOf(scale, firstMultiple(step, scale.from)).size(),
                                         labelOf(scale, std::max<Wide>(last - step, 0)).size());
    return std::max(static_cast<double>(longest), kFewestCharacters) + kLabelGap;
}

struct Step
{
    Wide major = 1;
    Wide minor = 1;
};

Step chooseStep(const Scale& scale, double characters)
{
    const Wide span = scale.to - scale.from;
    Step step;
    for (Wide power = 1;; power *= 10) {
        for (const int factor : {1, 2, 5}) {
            step.major = power * factor;
            const double room =
                characters * static_cast<double>(step.major) / static_cast<double>(span);
            if (room >= charactersNeeded(scale, step.major) || step.major >= span) {
                const Wide parts = factor == 2 ? 4 : 5;
                step.minor = step.major % parts == 0 ? step.major / parts : step.major;
                return step;
            }
        }
    }
}

} // namespace

std::vector<RulerTick> makeRuler(const TimeWindow& window, const TimeText& timeText, double width,
                                 double characterWidth)
{
    const Timescale timescale = timeText.timescale();
    const Wide factor = std::clamp<Wide>(timescale.factor, 1, kLargestFactor);
    Scale scale;
    scale.from = std::max<Wide>(window.from, 0) * factor;
    scale.to = std::max<Wide>(window.to, 0) * factor;
    scale.exponent = timescale.exponent;
    scale.hasUnit = timeText.hasTimescale();
    if (scale.to <= scale.from) {
        return {};
    }

    const Step step = chooseStep(scale, width / characterWidth);
    const double span = static_cast<double>(scale.to - scale.from);
    std::vector<RulerTick> ticks;
    for (Wide time = firstMultiple(step.minor, scale.from); time <= scale.to; time += step.minor) {
        const double position = static_cast<double>(time - scale.from) / span;
        ticks.push_back({position, time % step.major == 0 ? labelOf(scale, time) : std::string()});
    }
    return ticks;
}

} // namespace tracewell
