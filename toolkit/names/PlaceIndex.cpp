// SPDX-License-Identifier: BSD-3-Clause

#include "names/PlaceIndex.h"

#include <algorithm>

namespace tracewell {

namespace {

/// Pages a place that the index may take.
constexpr long long kPagesOfPlace = 8;
constexpr long long kFewestPages = 4096;

} // namespace

PlaceIndex::PlaceIndex(const DataLayout& layout, std::size_t objects)
{
    m_places.reserve(objects);
    for (std::size_t i = 0; i < objects; ++i) {
        m_places.push_back({layout.addressOf(i), static_cast<std::uint32_t>(i)});
    }
    std::sort(m_places.begin(), m_places.end(),
              [](const Place& a, const Place& b) { return a.address < b.address; });
    const auto pages = kFewestPages + kPagesOfPlace * static_cast<long long>(m_places.size());
    while (layout.overrideStart() >> m_pageShift > pages) {
        ++m_pageShift;
    }
    std::uint32_t place = 0;
    for (long long page = 0; page <= (layout.overrideStart() >> m_pageShift) + 1; ++page) {
        while (place + 1 < m_places.size() &&
               m_places[place + 1].address <= (page << m_pageShift)) {
            ++place;
        }
        m_firstOfPage.push_back(place);
    }
}

std::size_t PlaceIndex::find(long long address) const
{
    const auto page = static_cast<std::size_t>(address >> m_pageShift);
    const std::uint32_t first = m_firstOfPage[page];
    const std::uint32_t last = m_firstOfPage[page + 1];
    if (m_pageShift == 0 || first == last) {
        return first;
    }
    const auto behind =
        std::upper_bound(m_places.begin() + first, m_places.begin() + last + 1, address,
                         [](long long wanted, const Place& p) { return wanted < p.address; });
    return static_cast<std::size_t>(behind - m_places.begin()) - 1;
}

} // namespace tracewell
