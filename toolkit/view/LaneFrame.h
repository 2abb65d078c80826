// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "draw/Lane.h"

#include <cstdint>
#include <string>

namespace tracewell {

/// A message to the page with lanes, little endian:
///
///     u32 id, u32 lanes, i64 from, i64 to, i64 latest time
///     each lane: u32 segments, u32 firings, u32 flags (1: a curve), u32 bytes of texts
///                i64 start of each segment, then i64 the end of the last
///                u8 look of each, with 128 when its value came up at the start
///                f64 lowest and highest of each, for a curve alone
///                i64 time of each firing
///                u16 length of the text of each, then the texts in UTF-8
class LaneFrame
{
public:
    LaneFrame(std::uint32_t id, std::uint32_t lanes, const TimeWindow& window, long long latest);

    void add(const Lane& lane);
    std::string take() { return std::move(m_bytes); }

private:
    template <typename Number> void append(Number number);

    std::string m_bytes;
};

} // namespace tracewell
