// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAddressRange.h"
#include "WdbIBlockManager.h"

#include <set>

namespace Tracewell {

/// A set of addresses or object numbers, kept as ranges that neither overlap nor touch. Stored as
/// 16 bytes a range, start and end, in ascending order; whoever stores it keeps the number of
/// ranges. No lock.
class TRACEWELL_API WdbAddressMap
{
public:
    void insert(long long address) { insert(address, address); }
    /// Both inclusive; nothing when `start` is above `end`.
    void insert(long long start, long long end);
    bool find(long long address) const;
    void clear() { m_ranges.clear(); }
    unsigned int size() const { return static_cast<unsigned int>(m_ranges.size()); }
    /// True when an insertion changed the set since the last resetDirtyFlag.
    bool isDirty() const { return m_dirty; }
    void resetDirtyFlag() { m_dirty = false; }

    /// Stores the ranges as one block and returns its handle.
    long long addBlock(WdbIBlockManager& manager) const;
    /// Takes in `count` stored ranges as they stand: they are not joined, one that overlaps an
    /// earlier one or ends before it starts is dropped, and the set does not become dirty. Nothing
    /// happens when the storage cannot hold that many.
    void loadBlock(long long offset, long long count, WdbIBlockManager& manager);
    /// One line a range, on the standard output.
    void dump() const;

private:
    struct LeftOfRange
    {
        bool operator()(const WdbAddressRange& a, const WdbAddressRange& b) const
        {
            return WdbAddressRange::leftOfRange(a, b);
        }
    };
    using Ranges = std::set<WdbAddressRange, LeftOfRange>;

    /// The range that holds the address, or the next one above it.
    Ranges::const_iterator findAtOrAbove(long long address) const
    {
        return m_ranges.lower_bound(WdbAddressRange(address));
    }

    Ranges m_ranges;
    bool m_dirty = false;
};

} // namespace Tracewell
