// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"

#include <cstdint>
#include <vector>

namespace tracewell {

/// Finds the objects whose plain values lie at an address of the data memory.
class PlaceIndex
{
public:
    struct Place
    {
        long long address;
        std::uint32_t object;
    };

    PlaceIndex(const DataLayout& layout, std::size_t objects);

    /// The plain values by address.
    std::size_t size() const { return m_places.size(); }
    const Place& operator[](std::size_t index) const { return m_places[index]; }
    /// The index of the last place at or before an address below the overrides; of the first one if
    /// there is none. There must be places.
    std::size_t find(long long address) const;

private:
    std::vector<Place> m_places;
    /// For every 2^m_pageShift bytes of the memory, the last place at or before their start.
    std::vector<std::uint32_t> m_firstOfPage;
    unsigned int m_pageShift = 0;
};

} // namespace tracewell
