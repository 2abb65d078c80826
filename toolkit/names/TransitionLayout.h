// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <cstdint>
#include <vector>

namespace tracewell {

// How values lie in a transition database made by this program. Each object has transition objects
// of its own, numbered from 1 on in the order of declaration:
//
//   Scalar  1 ValueVlog: 0, 1, 2 (z) or 3 (x).
//   Vector  a ValueVlog for each bit, bit 0 first.
//   Real    1 ValueDouble.
//   Event   1 ValueInt32: a count that goes up by one with each firing, modulo 2^24, times 256,
//           plus the code of the letter that came with it (see kLetters). All firings of one time
//           are in the transition of that time, kMostFirings at most.
//   String  none: a transition database keeps no texts.
//
// A bit whose letter is none of 0 1 z x has the nearest of these there, and the letter itself in a
// ValueStdLogic that it has besides: number `id` + nineStateOffset(). That one holds the letter's
// code, 4 (u) to 8 (-), or kNoNineState once the four-state value tells all again. Codes 2 and 3
// are not used there: a store may give 0 and 1 back for them. It has no transitions for bits that
// never had such a letter.

constexpr std::uint8_t kNoNineState = 15;
/// The codes of four states.
constexpr std::uint8_t kLetterMask = 3;
constexpr std::uint32_t kEventCounts = 1u << 24;
/// A count that goes up by more is damaged: what it would be written out as has no bound.
constexpr std::uint32_t kMostFirings = (1u << 16) - 1;
/// The most transition objects that a table may ask for, nine-state ones included.
constexpr unsigned long long kMostTransitionObjects = 1ull << 30;

/// How often an event fired at a time, by its counts before and then; 1 where that makes no sense.
inline std::uint32_t firingsBetween(std::uint32_t before, std::uint32_t count)
{
    const std::uint32_t firings = (count - before) % kEventCounts;
    return firings <= kMostFirings ? firings : 1;
}

/// Numbers of all objects of a table.
class TransitionLayout
{
public:
    explicit TransitionLayout(const Declarations& declarations);

    /// The number of the object's first transition object; 0 for one that has none.
    std::uint32_t idOf(std::size_t object) const { return m_ids[object]; }
    /// How many follow each other from there, without the nine-state ones.
    static std::uint32_t countOf(const Object& object)
    {
        return object.kind->objectsOf(object.width);
    }
    /// From a bit's number to that of its nine-state object.
    std::uint32_t nineStateOffset() const { return m_nineStateOffset; }
    /// Nine-state objects included. Above kMostTransitionObjects the numbers mean nothing.
    unsigned long long totalCount() const { return m_totalCount; }

private:
    std::vector<std::uint32_t> m_ids;
    std::uint32_t m_nineStateOffset = 0;
    unsigned long long m_totalCount = 0;
};

} // namespace tracewell
