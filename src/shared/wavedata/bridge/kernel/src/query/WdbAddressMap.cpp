// SPDX-License-Identifier: BSD-3-Clause

#include "WdbAddressMap.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <limits>
#include <type_traits>
#include <vector>

namespace Tracewell {

namespace {

constexpr long long kLowest = std::numeric_limits<long long>::min();
constexpr long long kHighest = std::numeric_limits<long long>::max();

} // namespace

static_assert(sizeof(WdbAddressRange) == 16 && std::is_trivially_copyable_v<WdbAddressRange>,
              "ranges are stored as they lie in memory");

void WdbAddressMap::insert(long long start, long long end)
{
    if (start > end) {
        return;
    }
    const auto holder = findAtOrAbove(start);
    if (holder != m_ranges.end() && holder->contains(WdbAddressRange(start, end))) {
        return;
    }

    // Everything from a range that ends just below to one that starts just above becomes one.
    const long long reachBelow = start == kLowest ? start : start - 1;
    const long long reachAbove = end == kHighest ? end : end + 1;
    const auto first = findAtOrAbove(reachBelow);
    auto last = first;
    WdbAddressRange joined(start, end);
    for (; last != m_ranges.end() && last->getStart() <= reachAbove; ++last) {
        joined.expand(last->getStart());
        joined.expand(last->getEnd());
    }
    m_ranges.erase(first, last);
    m_ranges.insert(joined);
    m_dirty = true;
}

bool WdbAddressMap::find(long long address) const
{
    const auto range = findAtOrAbove(address);
    return range != m_ranges.end() && range->contains(address);
}

long long WdbAddressMap::addBlock(WdbIBlockManager& manager) const
{
    const std::vector<WdbAddressRange> ranges(m_ranges.begin(), m_ranges.end());
    return manager.addBlock(reinterpret_cast<const char*>(ranges.data()),
                            ranges.size() * sizeof(WdbAddressRange));
}

void WdbAddressMap::loadBlock(long long offset, long long count, WdbIBlockManager& manager)
{
    constexpr long long kMostRanges = kHighest / static_cast<long long>(sizeof(WdbAddressRange));
    if (count <= 0 || count > kMostRanges) {
        return;
    }
    const auto bytes = static_cast<unsigned long long>(count) * sizeof(WdbAddressRange);
    if (!manager.contains(offset, bytes)) {
        return;
    }

    std::vector<WdbAddressRange> ranges(static_cast<std::size_t>(count));
    manager.getBlock(offset, reinterpret_cast<char*>(ranges.data()), bytes);
    for (const WdbAddressRange& range : ranges) {
        const auto next = findAtOrAbove(range.getStart());
        if (range.getStart() <= range.getEnd() &&
            (next == m_ranges.end() || range.getEnd() < next->getStart())) {
            m_ranges.insert(next, range);
        }
    }
}

void WdbAddressMap::dump() const
{
    for (const WdbAddressRange& range : m_ranges) {
        std::cout << "startAddress = " << range.getStart() << " endAddress = " << range.getEnd()
                  << '\n';
    }
}

} // namespace Tracewell
