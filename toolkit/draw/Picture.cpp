// SPDX-License-Identifier: BSD-3-Clause

#include "draw/Picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace tracewell {

std::vector<Signal> Picture::signals() const
{
    std::vector<Signal> all;
    for (const Lane& lane : lanes) {
        all.push_back(lane.signal);
    }
    return all;
}

std::string Picture::rangeText() const
{
    return fmt::format("{} – {}{}", window.from == 0 ? "0" : timeText.format(window.from),
                       timeText.format(window.to),
                       wholeEnd ? " of " + timeText.format(*wholeEnd) : std::string());
}

void fillLanes(Picture& picture, const SignalValues& values, long long latestTime,
               unsigned int waveWidth, unsigned int shortestText)
{
    const ValueText valueText([&](long long id) { return values.lookUp(id); });
    const long long places = std::max(1u, waveWidth);
    // Not the other way round: the product of span and places may be too large.
    picture.window.resolution = (picture.window.to - picture.window.from) / places;
    const long long most = std::numeric_limits<long long>::max() / std::max(1u, shortestText);
    const long long shortest = std::min(picture.window.resolution, most) * shortestText;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        picture.lanes.push_back(
            makeLane(values, i, picture.window, latestTime, shortest, valueText));
    }
}

} // namespace tracewell
