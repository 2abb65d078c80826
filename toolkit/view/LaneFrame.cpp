// SPDX-License-Identifier: BSD-3-Clause

#include "view/LaneFrame.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace tracewell {

namespace {

/// A text that is longer than any screen loses its end, between characters.
std::string_view textOf(const LaneSegment& segment)
{
    constexpr std::size_t kLongestText = 1000;
    std::size_t size = std::min(segment.text.size(), kLongestText);
    while (size < segment.text.size() && size > 0 &&
           (static_cast<unsigned char>(segment.text[size]) & 0xC0) == 0x80) {
        --size;
    }
    return std::string_view(segment.text).substr(0, size);
}

} // namespace

/// All machines that this runs on have the lowest byte first.
template <typename Number> void LaneFrame::append(Number number)
{
    char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    m_bytes.append(bytes, sizeof bytes);
}

LaneFrame::LaneFrame(std::uint32_t id, std::uint32_t lanes, const TimeWindow& window,
                     long long latest)
{
    append(id);
    append(lanes);
    append(static_cast<std::int64_t>(window.from));
    append(static_cast<std::int64_t>(window.to));
    append(static_cast<std::int64_t>(latest));
}

void LaneFrame::add(const Lane& lane)
{
    constexpr std::uint32_t kCurve = 1;
    constexpr std::uint8_t kStartsHere = 128;
    std::size_t bytes = 0;
    for (const LaneSegment& segment : lane.segments) {
        bytes += textOf(segment).size();
    }
    append(static_cast<std::uint32_t>(lane.segments.size()));
    append(static_cast<std::uint32_t>(lane.firings.size()));
    append(lane.isCurve() ? kCurve : std::uint32_t{0});
    append(static_cast<std::uint32_t>(bytes));
    for (const LaneSegment& segment : lane.segments) {
        append(static_cast<std::int64_t>(segment.start));
    }
    append(static_cast<std::int64_t>(lane.segments.empty() ? 0 : lane.segments.back().end));
    for (const LaneSegment& segment : lane.segments) {
        append(static_cast<std::uint8_t>(static_cast<std::uint8_t>(segment.look) |
                                         (segment.startsHere ? kStartsHere : 0)));
    }
    if (lane.isCurve()) {
        for (const LaneSegment& segment : lane.segments) {
            const bool isNumber = segment.look >= Look::Bus;
            constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
            append(isNumber ? segment.lowest : kNone);
            append(isNumber ? segment.highest : kNone);
        }
    }
    for (const long long time : lane.firings) {
        append(static_cast<std::int64_t>(time));
    }
    for (const LaneSegment& segment : lane.segments) {
        append(static_cast<std::uint16_t>(textOf(segment).size()));
    }
    for (const LaneSegment& segment : lane.segments) {
        m_bytes += textOf(segment);
    }
}

} // namespace tracewell
