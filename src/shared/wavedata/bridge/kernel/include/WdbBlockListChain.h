// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"

#include <algorithm>
#include <type_traits>

namespace Tracewell {

/// A list for reading stores nothing, neither at construction nor later.
enum class WdbBlockListAccess { Writing, Reading };

/// Reads the nodes of a chain one by one. Handles are taken from the file and are not trusted: the
/// walk ends where a node would leave the storage, where the chain runs in a circle, and when it
/// has read more nodes than fit in the storage side by side. A count above the slots is cut.
template <class Node> class WdbBlockListWalk
{
public:
    WdbBlockListWalk(const WdbIBlockManager& manager, long long firstNode)
        : m_manager(&manager), m_markedNode(firstNode)
    {
        load(firstNode);
    }

    /// A copy as it was read; an empty node when the chain has none.
    const Node& getNode() const { return m_node; }

    /// Reads the next node; false at the end, where the last node read stays.
    bool advance()
    {
        const long long next = m_node.m_next;
        // What the node lists comes first.
        if (m_isMoreThanCounted) {
            noteNode(m_handle, true);
        }
        m_isMoreThanCounted = false;
        if (next == m_markedNode && next != 0) {
            noteNode(next, false);
        }
        if (next == m_markedNode || !load(next)) {
            m_node.m_next = 0;
            return false;
        }
        // Brent's method: the mark waits for twice as many steps each time, so a circle of any
        // length comes back to it.
        if (++m_steps == m_stepsToMark) {
            m_markedNode = next;
            m_stepsToMark *= 2;
            m_steps = 0;
        }
        return true;
    }

    unsigned long long getNodesRead() const { return m_nodesRead; }
    /// Of the node that was read last; 0 when there is none.
    long long getHandle() const { return m_handle; }

private:
    bool load(long long handle)
    {
        if (handle == 0) {
            return false;
        }
        if (!m_manager->contains(handle, sizeof(Node)) ||
            !m_manager->contains(0, (m_nodesRead + 1) * sizeof(Node))) {
            noteNode(handle, false);
            return false;
        }
        ++m_nodesRead;
        m_node = Node();
        m_manager->getBlock(handle, reinterpret_cast<char*>(&m_node), sizeof(Node));
        m_handle = handle;
        if (m_node.m_count > Node::kSlots) {
            noteNode(handle, false);
        }
        m_isMoreThanCounted = m_node.m_count < Node::kSlots && isMoreThanCounted();
        m_node.m_count = std::min(m_node.m_count, Node::kSlots);
        return true;
    }

    /// Of a node with room. Only a list's first node may be empty.
    bool isMoreThanCounted() const
    {
        return m_node.m_next != 0 || m_node.getEntry(m_node.m_count).m_handle != 0 ||
               (m_node.m_count == 0 && m_nodesRead > 1);
    }

    void noteNode(long long handle, bool isOnlyWhenClosed) const
    {
        m_manager->noteDamage({Node::kDamage, handle, sizeof(Node), -1, isOnlyWhenClosed});
    }

    const WdbIBlockManager* m_manager;
    Node m_node{};
    long long m_handle = 0;
    bool m_isMoreThanCounted = false;
    long long m_markedNode;
    unsigned long long m_nodesRead = 0;
    unsigned long long m_steps = 0;
    unsigned long long m_stepsToMark = 1;
};

/// The writer's end of a chain: the last node in memory, and its place in the file.
template <class Node> class WdbBlockListChain
{
    static_assert(std::is_trivially_copyable_v<Node> && std::is_standard_layout_v<Node>);

public:
    /// Reads the anchor. For writing, an anchor of 0 gets an empty node. A list that had entries
    /// before is not continued at its end: only the writer that made a list appends to it.
    WdbBlockListChain(WdbIBlockManager& manager, long long anchorOffset, WdbBlockListAccess access)
        : m_manager(&manager), m_access(access)
    {
        char* const anchor = reinterpret_cast<char*>(&m_firstNode);
        if (access == WdbBlockListAccess::Reading) {
            if (manager.contains(anchorOffset, sizeof m_firstNode)) {
                manager.getBlock(anchorOffset, anchor, sizeof m_firstNode);
            }
            return;
        }
        manager.getBlock(anchorOffset, anchor, sizeof m_firstNode);
        if (m_firstNode == 0) {
            m_firstNode = manager.addBlock(bytes(m_node), sizeof(Node));
            manager.putBlock(anchorOffset, anchor, sizeof m_firstNode);
        } else {
            manager.getBlock(m_firstNode, reinterpret_cast<char*>(&m_node), sizeof(Node));
            m_node.m_count = std::min(m_node.m_count, Node::kSlots);
        }
        m_lastNode = m_firstNode;
    }

    WdbIBlockManager& getManager() const { return *m_manager; }
    bool isWriting() const { return m_access == WdbBlockListAccess::Writing; }
    long long getFirstNode() const { return m_firstNode; }

    /// A full node reaches the file together with its successor, the successor first, so that no
    /// pointer in the file ever dangles.
    void append(const typename Node::Entry& entry)
    {
        if (!isWriting()) {
            return;
        }
        if (m_node.m_count < Node::kSlots) {
            m_node.setEntry(m_node.m_count++, entry);
            m_dirty = true;
            return;
        }
        Node successor{};
        successor.setEntry(0, entry);
        successor.m_count = 1;
        const long long handle = m_manager->addBlock(bytes(successor), sizeof(Node));
        m_node.m_next = handle;
        m_manager->putBlock(m_lastNode, bytes(m_node), sizeof(Node));
        m_node = successor;
        m_lastNode = handle;
        m_dirty = false;
    }

    void flush()
    {
        if (!m_dirty) {
            return;
        }
        m_manager->putBlock(m_lastNode, bytes(m_node), sizeof(Node));
        m_dirty = false;
    }

private:
    static const char* bytes(const Node& node) { return reinterpret_cast<const char*>(&node); }

    WdbIBlockManager* m_manager;
    WdbBlockListAccess m_access;
    bool m_dirty = false;
    long long m_firstNode = 0;
    long long m_lastNode = 0;
    Node m_node{};
};

} // namespace Tracewell
