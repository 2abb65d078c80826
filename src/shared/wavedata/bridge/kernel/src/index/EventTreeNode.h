// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbEventBlock.h"
#include "WdbIBlockManager.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <vector>

namespace Tracewell {

/// Addresses of a bucket that a search looks for.
class EventTreeTarget
{
public:
    void add(unsigned int offset)
    {
        const unsigned int byte = offset / 8;
        m_bits[byte] = static_cast<unsigned char>(m_bits[byte] | 1 << offset % 8);
        m_begin = std::min(m_begin, byte);
        m_end = std::max(m_end, byte + 1);
    }
    void remove(unsigned int offset)
    {
        m_bits[offset / 8] = static_cast<unsigned char>(m_bits[offset / 8] & ~(1 << offset % 8));
    }
    /// Whether the event changes one of them.
    bool touches(const WdbEvent& event) const
    {
        const auto start = static_cast<unsigned long long>(event.getStartAddress()) -
                           static_cast<unsigned long long>(event.getBaseAddress());
        for (unsigned long long at = start;
             at < WdbEventBlock::kKeyAddresses && at - start < event.getValuelength(); ++at) {
            if ((m_bits[at / 8] >> at % 8 & 1) != 0) {
                return true;
            }
        }
        return false;
    }
    bool isIn(const unsigned char* key) const
    {
        for (unsigned int byte = m_begin; byte < m_end; ++byte) {
            if ((key[byte] & m_bits[byte]) != 0) {
                return true;
            }
        }
        return false;
    }

private:
    unsigned char m_bits[WdbEventBlock::kKeySize] = {};
    unsigned int m_begin = WdbEventBlock::kKeySize;
    unsigned int m_end = 0;
};

/// A node of a bucket's index as it lies in the file. Entry i covers the times from its
/// predecessor's cumulative length (0 for the first) up to its own, relative to the node's start.
struct EventTreeNode
{
    static constexpr unsigned int kOrder = 100;
    static constexpr unsigned int kNone = kOrder;

    /// A leaf's children are records, an inner node's are nodes.
    long long m_children[kOrder] = {};
    long long m_lengths[kOrder] = {};
    long long m_largestDiff = 0;
    /// What changes below each entry, a bit for each address of the bucket.
    unsigned char m_keys[kOrder][WdbEventBlock::kKeySize] = {};
    unsigned int m_count = 0;
    unsigned char m_isLeaf = 1;
    unsigned char m_padding[3] = {};

    long long getPrecedingLength(unsigned int entry) const
    {
        return entry > 0 ? m_lengths[entry - 1] : 0;
    }
    long long getTotalLength() const { return m_count > 0 ? m_lengths[m_count - 1] : 0; }
    /// False for a node that no finished tree has.
    bool isLikeClosed() const
    {
        return m_isLeaf <= 1 && m_count > 0 && (m_count == kOrder || m_children[m_count] == 0);
    }
    /// The last entry before `end` that holds any of the addresses, or kNone.
    unsigned int findBackward(unsigned int end, const EventTreeTarget& target) const
    {
        while (end > 0) {
            if (target.isIn(m_keys[--end])) {
                return end;
            }
        }
        return kNone;
    }
    /// The first entry that ends behind `time`, or m_count. The lengths are in order only where the
    /// times of the events are.
    unsigned int findTime(long long time) const
    {
        unsigned int entry = 0;
        while (entry < m_count && m_lengths[entry] <= time) {
            ++entry;
        }
        return entry;
    }
};

static_assert(sizeof(EventTreeNode) == 27216 && std::is_trivially_copyable_v<EventTreeNode>);
static_assert(offsetof(EventTreeNode, m_lengths) == 800 &&
              offsetof(EventTreeNode, m_largestDiff) == 1600 &&
              offsetof(EventTreeNode, m_keys) == 1608 &&
              offsetof(EventTreeNode, m_count) == 27208 &&
              offsetof(EventTreeNode, m_isLeaf) == 27212);

/// A node on a path from the root, with the entry that the path goes through.
struct EventTreeStep
{
    EventTreeNode m_node;
    long long m_offset = 0;
    unsigned int m_cursor = 0;

    long long getChild() const { return m_node.m_children[m_cursor]; }
};

/// The way from the root down to a leaf.
using EventTreePath = std::vector<EventTreeStep>;

/// What no sound tree exceeds: every node but those on the right edge has 100 entries.
constexpr std::size_t kMostEventTreeLevels = 10;

/// Reads the node at `offset` behind the path's last one. False, and the path is as it was, when
/// there is no node that can be true, which is noted as damage: bytes outside the storage, too many
/// entries, a path too long, or, where it is the `entered`th node of a search, more nodes than the
/// storage has room for: those of a damaged tree may be one and the same. Of lengths any can be
/// true; the sums that are made of them saturate.
bool enterNode(const WdbIBlockManager& nodes, long long offset, EventTreePath& path,
               unsigned long long entered = 0);

/// Lengths of time saturate, so that a damaged or endless history stays in order.
inline long long addLengths(long long a, long long b)
{
    long long sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? (b > 0 ? std::numeric_limits<long long>::max()
                                                       : std::numeric_limits<long long>::min())
                                              : sum;
}
inline long long subtractTimes(long long later, long long earlier)
{
    long long difference = 0;
    return __builtin_sub_overflow(later, earlier, &difference)
               ? (earlier < 0 ? std::numeric_limits<long long>::max()
                              : std::numeric_limits<long long>::min())
               : difference;
}

} // namespace Tracewell
