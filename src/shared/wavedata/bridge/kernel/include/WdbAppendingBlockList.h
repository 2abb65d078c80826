// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockListFrame.h"

#include <cstddef>

namespace Tracewell {

/// An index node of a block list as it lies in the file.
template <unsigned int N> struct WdbBlockListNode
{
    static constexpr unsigned int kSlots = N;
    static constexpr WdbDamage::Kind kDamage = WdbDamage::ListNode;

    struct Entry
    {
        long long m_handle = 0;
        unsigned int m_size = 0;
    };

    template <class T> static Entry storeItem(T& item, WdbIBlockManager& manager)
    {
        Entry entry;
        entry.m_handle = item.addBlock(manager, entry.m_size);
        return entry;
    }

    Entry getEntry(unsigned int slot) const { return {m_handles[slot], m_sizes[slot]}; }
    void setEntry(unsigned int slot, const Entry& entry)
    {
        m_handles[slot] = entry.m_handle;
        m_sizes[slot] = entry.m_size;
    }

    long long m_next;
    long long m_handles[N];
    unsigned int m_sizes[N];
    unsigned int m_count;
    unsigned int m_reserved;
};

static_assert(sizeof(WdbBlockListNode<10>) == 136 && sizeof(WdbBlockListNode<100>) == 1216);
static_assert(offsetof(WdbBlockListNode<100>, m_handles) == 8 &&
              offsetof(WdbBlockListNode<100>, m_sizes) == 808 &&
              offsetof(WdbBlockListNode<100>, m_count) == 1208 &&
              offsetof(WdbBlockListNode<10>, m_count) == 128);

/// An append-only series of variable-size items: a forward chain of nodes with N handles and sizes
/// each, reached through an 8-byte anchor in the file. A successor node is stored before the
/// pointer to it, so a reader beside the writer, or after its death, always finds a sound chain.
///
/// T offers T(unsigned int itemParameter, long long baseAddress), clear() and
/// addBlock(WdbIBlockManager&, unsigned int& size), which returns 0 for an item without content.
/// Constructor and open item: WdbBlockListFrame. The destructor flushes item and node of a list
/// for writing. Appending is for the one writer that made the list; no operation locks.
template <class T, unsigned int N>
class WdbAppendingBlockList : public WdbBlockListFrame<T, WdbBlockListNode<N>>
{
    using Frame = WdbBlockListFrame<T, WdbBlockListNode<N>>;

public:
    using Node = WdbBlockListNode<N>;
    using Iterator = WdbBlockListIterator<Node>;

    using Frame::Frame;

    /// Lists a stored item. The node reaches the file when it is full and has a successor, or at
    /// flushNode. Nothing happens to a list for reading.
    void addEntry(long long handle, unsigned int size) { this->append({handle, size}); }

    /// Flushes item and node, then stands on the first entry.
    Iterator begin()
    {
        this->flushOpenItem();
        this->flushNode();
        return Iterator(this->getManager(), this->getFirstNode());
    }

    /// The last entry of the chain on disk; false when there is none.
    bool findLastEntry(long long& handle, unsigned int& size) const
    {
        typename Node::Entry entry;
        if (!this->findLast(entry)) {
            return false;
        }
        handle = entry.m_handle;
        size = entry.m_size;
        return true;
    }
};

} // namespace Tracewell
