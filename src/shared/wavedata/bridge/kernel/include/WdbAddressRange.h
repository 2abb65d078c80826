// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// Addresses from start to end, both inclusive.
class TRACEWELL_API WdbAddressRange
{
public:
    WdbAddressRange() = default;
    explicit WdbAddressRange(long long address) : m_start(address), m_end(address) {}
    WdbAddressRange(long long start, long long end) : m_start(start), m_end(end) {}

    long long getStart() const { return m_start; }
    long long getEnd() const { return m_end; }
    bool contains(long long address) const { return m_start <= address && address <= m_end; }
    bool contains(const WdbAddressRange& other) const
    {
        return contains(other.m_start) && contains(other.m_end);
    }
    void expand(long long address)
    {
        if (address < m_start) {
            m_start = address;
        } else if (address > m_end) {
            m_end = address;
        }
    }
    bool operator==(const WdbAddressRange& other) const
    {
        return m_start == other.m_start && m_end == other.m_end;
    }

    /// The order of disjoint ranges. An address as a range of its own is neither left nor right of
    /// the range that holds it, so a search for it finds that range.
    static bool leftOfRange(const WdbAddressRange& a, const WdbAddressRange& b)
    {
        return a.m_start < b.m_start && a.m_end < b.m_end;
    }

private:
    long long m_start = 0;
    long long m_end = 0;
};

} // namespace Tracewell
