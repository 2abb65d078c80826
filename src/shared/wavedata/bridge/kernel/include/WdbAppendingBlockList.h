#pragma once

#include "WdbIBlockManager.h"

#include <cstddef>
#include <memory>
#include <type_traits>

namespace Tracewell {

/// An index node of a block list as it lies in the file.
template <unsigned int N> struct WdbBlockListNode
{
    long long m_next;
    long long m_handles[N];
    unsigned int m_sizes[N];
    unsigned int m_count;
    unsigned int m_reserved;
};

/// An append-only series of variable-size items: a forward chain of nodes with N handles and sizes
/// each, reached through an 8-byte anchor in the file. A successor node is stored before the
/// pointer to it, so a reader beside the writer, or after its death, always finds a sound chain.
///
/// T offers T(unsigned int itemParameter, long long baseAddress), clear() and
/// addBlock(WdbIBlockManager&, unsigned int& size), which returns 0 for an item without content.
/// The list owns its open item. Appending is for the one writer that made the list; no operation
/// locks.
template <class T, unsigned int N> class WdbAppendingBlockList
{
public:
    using Node = WdbBlockListNode<N>;
    class Iterator;

    enum class Access { Writing, Reading };

    /// Reads the anchor. For writing, an anchor of 0 gets an empty node; for reading it is an
    /// empty list, and nothing is ever stored.
    WdbAppendingBlockList(WdbIBlockManager& manager, long long anchorOffset,
                          unsigned int itemParameter, long long baseAddress, Access access);
    WdbAppendingBlockList(const WdbAppendingBlockList&) = delete;
    WdbAppendingBlockList& operator=(const WdbAppendingBlockList&) = delete;
    /// Flushes item and node of a list for writing.
    ~WdbAppendingBlockList();

    bool isItemOpen() const;
    /// The open item, made on first use.
    T& openItem();
    /// The item, or null while none was made.
    T* getItem() const;
    /// Hands the open item out and closes it; `replacement` (may be null) serves the next
    /// openItem. The caller stores the item and then calls addEntry.
    std::unique_ptr<T> takeOpenItem(std::unique_ptr<T> replacement);
    /// Stores the open item with T::addBlock, lists it, clears and closes it.
    void flushOpenItem();
    /// Lists a stored item. The node reaches the file when it is full and has a successor, or at
    /// flushNode.
    void addEntry(long long handle, unsigned int size);
    /// Writes the last node if it has entries that the file lacks.
    void flushNode();

    long long getFirstNode() const;
    long long getBaseAddress() const;

    /// Flushes item and node, then stands on the first entry.
    Iterator begin();
    /// The last entry of the chain on disk; false when there is none.
    bool findLastEntry(long long& handle, unsigned int& size) const;
};

/// Walks a chain with a copy of the node that it reads, so it does not see entries that were added
/// after that node was read. A chain that leaves the storage or runs in a circle ends.
template <class T, unsigned int N> class WdbAppendingBlockList<T, N>::Iterator
{
public:
    explicit operator bool() const;
    bool isEof() const;
    Iterator& operator++();
    /// 0 at the end.
    long long getHandle() const;
    /// 0 at the end.
    unsigned int getSize() const;
};

} // namespace Tracewell
