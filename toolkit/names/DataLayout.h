// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"
#include "values/Letters.h"
#include "values/TextReference.h"

#include <cstdint>
#include <vector>

namespace tracewell {

// How values lie in the data memory of a recording made by this program. All words are
// little-endian.
//
// Each kind of value (see ValueKinds.h) has a plain form there.
//
// The memory starts with the vectors, reals and strings, in the order in which their codes are
// declared first; then come the events, then the scalars, each in that order too. Behind them, at
// the next multiple of 4,096, every object has 8 bytes more, in the order of declaration: its
// override, a TextReference that is all zero while the object's plain value tells all. A value that
// the plain form cannot hold is kept there as the text of its value change; the plain form then
// holds the nearest four-state value, or what it held before if there is none.

constexpr long long kOverrideAlignment = 4096;
/// The largest data memory that is imported or exported.
constexpr long long kLargestMemory = 1LL << 30;

/// Places of all objects of a table.
class DataLayout
{
public:
    explicit DataLayout(const Declarations& declarations);

    long long addressOf(std::size_t object) const { return m_addresses[object]; }
    /// Bytes of the plain value.
    static long long sizeOf(const Object& object)
    {
        return static_cast<long long>(object.kind->sizeOf(object.width));
    }
    long long overrideOf(std::size_t object) const
    {
        return m_overrideStart + 8 * static_cast<long long>(object);
    }
    /// Where the events lie, all of them behind each other.
    long long eventStart() const { return m_eventStart; }
    long long eventEnd() const { return m_eventEnd; }
    long long overrideStart() const { return m_overrideStart; }
    /// Bytes of the whole memory.
    long long totalSize() const { return m_totalSize; }

private:
    std::vector<long long> m_addresses;
    long long m_eventStart = 0;
    long long m_eventEnd = 0;
    long long m_overrideStart = 0;
    long long m_totalSize = 0;
};

} // namespace tracewell
