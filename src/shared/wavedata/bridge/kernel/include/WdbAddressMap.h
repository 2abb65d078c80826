#pragma once

#include "TracewellExport.h"
#include "WdbAddressRange.h"
#include "WdbIBlockManager.h"

#include <set>

namespace Tracewell {

/// A set of addresses or object numbers, kept as maximal ranges. Stored as 16 bytes a range, start
/// and end, in ascending order; whoever stores it keeps the number of ranges. No lock.
class TRACEWELL_API WdbAddressMap
{
public:
    void insert(long long address);
    void insert(long long start, long long end);
    bool find(long long address) const;
    void clear();
    /// The number of ranges.
    unsigned int size() const;
    /// True when an insertion changed the set since the last resetDirtyFlag.
    bool isDirty() const { return m_dirty; }
    void resetDirtyFlag() { m_dirty = false; }

    long long addBlock(WdbIBlockManager& manager) const;
    /// Inserts `count` stored ranges as they stand.
    void loadBlock(long long offset, long long count, WdbIBlockManager& manager);
    void dump() const;

private:
    struct LeftOfRange
    {
        bool operator()(const WdbAddressRange& a, const WdbAddressRange& b) const
        {
            return WdbAddressRange::leftOfRange(a, b);
        }
    };

    std::set<WdbAddressRange, LeftOfRange> m_ranges;
    bool m_dirty = false;
};

} // namespace Tracewell
