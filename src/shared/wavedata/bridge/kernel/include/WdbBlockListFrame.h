// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockListChain.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace Tracewell {

/// Walks the entries of a chain with a copy of the node that it reads, so it does not see entries
/// that were added after that node was read. A chain that leaves the storage or runs in a circle
/// ends.
template <class Node> class WdbBlockListIterator
{
public:
    WdbBlockListIterator(const WdbIBlockManager& manager, long long firstNode)
        : m_walk(manager, firstNode)
    {
        skipExhaustedNodes();
    }

    operator bool() const { return !isEof(); }
    bool isEof() const { return m_slot >= m_walk.getNode().m_count; }

    WdbBlockListIterator& operator++()
    {
        if (!isEof()) {
            ++m_slot;
            skipExhaustedNodes();
        }
        return *this;
    }

    /// All zero at the end.
    typename Node::Entry getEntry() const
    {
        return isEof() ? typename Node::Entry() : m_walk.getNode().getEntry(m_slot);
    }
    /// Handle of the block at hand; 0 at the end.
    long long getHandle() const { return getEntry().m_handle; }
    /// Bytes of the block at hand; 0 at the end.
    unsigned int getSize() const { return getEntry().m_size; }

    /// So far, those without entries too.
    unsigned long long getNodesRead() const { return m_walk.getNodesRead(); }
    /// Of the node at hand, from which a later walk can go on.
    long long getNode() const { return m_walk.getHandle(); }

private:
    void skipExhaustedNodes()
    {
        while (isEof() && m_walk.advance()) {
            m_slot = 0;
        }
    }

    WdbBlockListWalk<Node> m_walk;
    unsigned int m_slot = 0;
};

/// What the two kinds of block list share: the chain of nodes and the open item, which the list
/// owns.
template <class T, class Node> class WdbBlockListFrame
{
public:
    using Access = WdbBlockListAccess;

    /// Reads the anchor. For writing, an anchor of 0 gets an empty node; for reading it is an
    /// empty list, and nothing is ever stored.
    WdbBlockListFrame(WdbIBlockManager& manager, long long anchorOffset, unsigned int itemParameter,
                      long long baseAddress, Access access = Access::Writing)
        : m_chain(manager, anchorOffset, access), m_itemParameter(itemParameter),
          m_baseAddress(baseAddress)
    {}
    WdbBlockListFrame(const WdbBlockListFrame&) = delete;
    WdbBlockListFrame& operator=(const WdbBlockListFrame&) = delete;

    bool isItemOpen() const { return m_itemOpen; }

    /// The open item, made on first use.
    T& openItem()
    {
        m_itemOpen = true;
        if (!m_item) {
            m_item = makeItem();
        }
        return *m_item;
    }

    /// Hands the open item out and closes it; `replacement` (may be null, must be empty) serves
    /// the next openItem. The caller stores the item and then calls addEntry.
    std::unique_ptr<T> takeOpenItem(std::unique_ptr<T> replacement)
    {
        m_itemOpen = false;
        return std::exchange(m_item, std::move(replacement));
    }

    /// Stores the open item with T::addBlock, lists it, clears and closes it.
    void flushOpenItem()
    {
        if (!m_itemOpen) {
            return;
        }
        if (m_chain.isWriting()) {
            const typename Node::Entry entry = Node::storeItem(*m_item, m_chain.getManager());
            if (entry.m_handle != 0) {
                m_chain.append(entry);
            }
        }
        m_item->clear();
        m_itemOpen = false;
    }

    /// Writes the last node if it has entries that the file lacks.
    void flushNode() { m_chain.flush(); }

    /// 0 for a list for reading whose anchor is 0.
    long long getFirstNode() const { return m_chain.getFirstNode(); }
    long long getBaseAddress() const { return m_baseAddress; }

protected:
    /// Flushes item and node of a list for writing.
    ~WdbBlockListFrame()
    {
        flushOpenItem();
        flushNode();
    }

    void append(const typename Node::Entry& entry) { m_chain.append(entry); }

    const WdbIBlockManager& getManager() const { return m_chain.getManager(); }

    bool findLast(typename Node::Entry& out) const
    {
        bool found = false;
        WdbBlockListWalk<Node> walk(getManager(), getFirstNode());
        do {
            const Node& node = walk.getNode();
            if (node.m_count > 0) {
                out = node.getEntry(node.m_count - 1);
                found = true;
            }
        } while (walk.advance());
        return found;
    }

private:
    std::unique_ptr<T> makeItem() const
    {
        if constexpr (std::is_constructible_v<T, unsigned int, long long>) {
            return std::make_unique<T>(m_itemParameter, m_baseAddress);
        } else {
            return std::make_unique<T>(m_itemParameter);
        }
    }

    WdbBlockListChain<Node> m_chain;
    unsigned int m_itemParameter;
    long long m_baseAddress;
    std::unique_ptr<T> m_item;
    bool m_itemOpen = false;
};

} // namespace Tracewell
