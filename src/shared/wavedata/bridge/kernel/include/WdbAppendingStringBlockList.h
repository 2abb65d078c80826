// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockListFrame.h"

#include <cstddef>

namespace Tracewell {

/// An index node of a string block list as it lies in the file.
template <unsigned int N> struct WdbStringBlockListNode
{
    static constexpr unsigned int kSlots = N;
    static constexpr WdbDamage::Kind kDamage = WdbDamage::TextNode;

    struct Entry
    {
        long long m_handle = 0;
        long long m_startId = 0;
        unsigned int m_size = 0;
        unsigned int m_count = 0;
    };

    template <class T> static Entry storeItem(T& item, WdbIBlockManager& manager)
    {
        Entry entry;
        entry.m_handle = item.addBlock(manager, entry.m_size, entry.m_startId, entry.m_count);
        return entry;
    }

    Entry getEntry(unsigned int slot) const
    {
        return {m_handles[slot], m_startIds[slot], m_sizes[slot], m_stringCounts[slot]};
    }
    void setEntry(unsigned int slot, const Entry& entry)
    {
        m_handles[slot] = entry.m_handle;
        m_startIds[slot] = entry.m_startId;
        m_sizes[slot] = entry.m_size;
        m_stringCounts[slot] = entry.m_count;
    }

    long long m_next;
    long long m_handles[N];
    long long m_startIds[N];
    unsigned int m_sizes[N];
    unsigned int m_stringCounts[N];
    unsigned int m_count;
    unsigned int m_reserved;
};

static_assert(sizeof(WdbStringBlockListNode<100>) == 2416 &&
              offsetof(WdbStringBlockListNode<100>, m_handles) == 8 &&
              offsetof(WdbStringBlockListNode<100>, m_startIds) == 808 &&
              offsetof(WdbStringBlockListNode<100>, m_sizes) == 1608 &&
              offsetof(WdbStringBlockListNode<100>, m_stringCounts) == 2008 &&
              offsetof(WdbStringBlockListNode<100>, m_count) == 2408);

/// The block list of a string map: like WdbAppendingBlockList, and each entry also keeps the
/// consecutive string ids that its item holds.
///
/// T offers T(unsigned int itemParameter), with a base address behind it if it likes, clear() and
/// addBlock(WdbIBlockManager&, unsigned int& size, long long& startId, unsigned int& count).
template <class T, unsigned int N>
class WdbAppendingStringBlockList : public WdbBlockListFrame<T, WdbStringBlockListNode<N>>
{
    using Frame = WdbBlockListFrame<T, WdbStringBlockListNode<N>>;

public:
    using Node = WdbStringBlockListNode<N>;

    class Iterator : public WdbBlockListIterator<Node>
    {
        using Base = WdbBlockListIterator<Node>;

    public:
        using Base::Base;

        Iterator& operator++()
        {
            Base::operator++();
            return *this;
        }
        /// The id of the item's first string; 0 at the end.
        long long getStartId() const { return this->getEntry().m_startId; }
        /// How many strings the item holds; 0 at the end.
        unsigned int getCount() const { return this->getEntry().m_count; }
    };

    using Frame::Frame;

    /// Lists a stored item, as WdbAppendingBlockList::addEntry does.
    void addEntry(long long handle, long long startId, unsigned int size, unsigned int count)
    {
        this->append({handle, startId, size, count});
    }

    /// Flushes item and node, then stands on the first entry.
    Iterator begin()
    {
        this->flushOpenItem();
        this->flushNode();
        return Iterator(this->getManager(), this->getFirstNode());
    }

    /// The last entry of the chain on disk; false when there is none.
    bool findLastEntry(long long& handle, long long& startId, unsigned int& size,
                       unsigned int& count) const
    {
        typename Node::Entry entry;
        if (!this->findLast(entry)) {
            return false;
        }
        handle = entry.m_handle;
        startId = entry.m_startId;
        size = entry.m_size;
        count = entry.m_count;
        return true;
    }
};

} // namespace Tracewell
