#include "draw/Picture.h"

#include <algorithm>

namespace tracewell {

std::string commonScope(const std::vector<Signal>& signals)
{
    if (signals.empty()) {
        return {};
    }
    std::string common = signals[0].scope;
    for (const Signal& signal : signals) {
        while (!common.empty() && signal.scope.compare(0, common.size(), common) != 0) {
            // Drops the last scope: "top.dut." becomes "top.".
            common.pop_back();
            common.erase(common.rfind('.') + 1);
        }
    }
    return common;
}

void fillLanes(Picture& picture, const SignalValues& values, long long latestTime,
               unsigned int waveWidth, unsigned int shortestText)
{
    const ValueText valueText([&](long long id) { return values.lookUp(id); });
    const long long places = std::max(1u, waveWidth);
    // Not the other way round: the product of span and places may be too large.
    picture.window.resolution = (picture.window.to - picture.window.from) / places;
    const long long shortest = picture.window.resolution * shortestText;
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        picture.lanes.push_back(
            makeLane(values, i, picture.window, latestTime, shortest, valueText));
    }
}

} // namespace tracewell
