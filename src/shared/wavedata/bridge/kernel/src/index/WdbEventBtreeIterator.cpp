// SPDX-License-Identifier: BSD-3-Clause

#include "EventTreeNode.h"
#include "WdbEventBtree.h"

namespace Tracewell {

/// Where an iterator stands, and how many nodes it may still enter in each direction: a tree whose
/// nodes lead in a circle ends, since no more of them can be different than fit in the storage.
struct EventTreeWalk
{
    EventTreePath m_path;
    long long m_enteredForward = 0;

    bool enter(const WdbIBlockManager& nodes, long long offset, bool forward)
    {
        m_enteredForward += forward ? 1 : -1;
        const auto entered = static_cast<unsigned long long>(
            m_enteredForward < 0 ? -m_enteredForward : m_enteredForward);
        return enterNode(nodes, offset, m_path, entered);
    }
};

WdbEventBtree::EventBlockIterator::EventBlockIterator(WdbIBlockManager& nodes,
                                                      WdbIBlockManager& data, long long root,
                                                      long long relativeTime, long long minimumDiff)
    : m_nodes(&nodes), m_data(&data), m_root(root), m_relativeTime(relativeTime),
      m_minimumDiff(minimumDiff)
{}

WdbEventBtree::EventBlockIterator::EventBlockIterator(const EventBlockIterator& other)
    : m_nodes(other.m_nodes), m_data(other.m_data), m_root(other.m_root),
      m_relativeTime(other.m_relativeTime), m_minimumDiff(other.m_minimumDiff),
      m_walk(other.m_walk ? std::make_unique<EventTreeWalk>(*other.m_walk) : nullptr),
      m_record(other.m_record)
{}

WdbEventBtree::EventBlockIterator&
WdbEventBtree::EventBlockIterator::operator=(const EventBlockIterator& other)
{
    if (this == &other) {
        return *this;
    }
    m_nodes = other.m_nodes;
    m_data = other.m_data;
    m_root = other.m_root;
    m_relativeTime = other.m_relativeTime;
    m_minimumDiff = other.m_minimumDiff;
    m_walk = other.m_walk ? std::make_unique<EventTreeWalk>(*other.m_walk) : nullptr;
    m_record = other.m_record;
    return *this;
}

WdbEventBtree::EventBlockIterator::~EventBlockIterator() = default;

void WdbEventBtree::EventBlockIterator::position() const
{
    if (m_walk) {
        return;
    }
    m_walk = std::make_unique<EventTreeWalk>();
    EventTreePath& path = m_walk->m_path;
    long long time = m_relativeTime;
    long long place = m_root;
    while (m_walk->enter(*m_nodes, place, true)) {
        EventTreeStep& step = path.back();
        step.m_cursor = step.m_node.findTime(time);
        if (step.m_cursor == step.m_node.m_count && path.size() > 1) {
            return findForward();
        }
        if (step.m_node.m_isLeaf || step.m_cursor == step.m_node.m_count) {
            return;
        }
        time = subtractTimes(time, step.m_node.getPrecedingLength(step.m_cursor));
        place = step.getChild();
    }
    path.clear();
}

bool WdbEventBtree::EventBlockIterator::isEof() const
{
    position();
    const EventTreePath& path = m_walk->m_path;
    return path.empty() || path.back().m_cursor >= path.back().m_node.m_count;
}

/// Whether nothing in the node at the end of the path rests long enough to be seen.
bool WdbEventBtree::EventBlockIterator::canSkip() const
{
    const long long largest = m_walk->m_path.back().m_node.m_largestDiff;
    return m_minimumDiff > 0 && largest > 0 && m_minimumDiff >= largest;
}

WdbEventBtree::EventBlockIterator& WdbEventBtree::EventBlockIterator::operator++()
{
    if (isEof()) {
        return *this;
    }
    EventTreeStep& step = m_walk->m_path.back();
    step.m_cursor = canSkip() ? step.m_node.m_count : step.m_cursor + 1;
    findForward();
    return *this;
}

WdbEventBtree::EventBlockIterator& WdbEventBtree::EventBlockIterator::operator--()
{
    position();
    findBackward();
    return *this;
}

void WdbEventBtree::EventBlockIterator::moveToLast()
{
    position();
    EventTreePath& path = m_walk->m_path;
    path.clear();
    m_walk->m_enteredForward = 0;
    if (!m_walk->enter(*m_nodes, m_root, true)) {
        return;
    }
    path.back().m_cursor = path.back().m_node.m_count;
    findBackward();
}

/// To the first entry of a leaf from the path's last cursor on, or to a node that can be skipped.
/// Of a killed writer a leaf may be an older image, with fewer entries than its neighbours suppose,
/// or none: it is passed by.
void WdbEventBtree::EventBlockIterator::findForward() const
{
    EventTreePath& path = m_walk->m_path;
    for (;;) {
        bool isPartFilled = false;
        while (path.back().m_cursor >= path.back().m_node.m_count) {
            isPartFilled = isPartFilled || path.back().m_node.m_count < EventTreeNode::kOrder;
            const long long left = path.back().m_offset;
            path.pop_back();
            if (path.empty()) {
                return;
            }
            ++path.back().m_cursor;
            // Only the right edge has nodes with room.
            if (isPartFilled && path.back().m_cursor < path.back().m_node.m_count) {
                m_nodes->noteDamage({WdbDamage::IndexNode, left, sizeof(EventTreeNode), -1, true});
            }
        }
        if (path.back().m_node.m_isLeaf || canSkip()) {
            return;
        }
        if (!m_walk->enter(*m_nodes, path.back().getChild(), true)) {
            path.clear();
            return;
        }
        path.back().m_cursor = 0;
    }
}

/// To the last entry of a leaf before the path's last cursor.
void WdbEventBtree::EventBlockIterator::findBackward()
{
    EventTreePath& path = m_walk->m_path;
    for (;;) {
        while (!path.empty() && path.back().m_cursor == 0) {
            path.pop_back();
        }
        if (path.empty()) {
            return;
        }
        --path.back().m_cursor;
        if (path.back().m_node.m_isLeaf) {
            return;
        }
        if (!m_walk->enter(*m_nodes, path.back().getChild(), false)) {
            path.clear();
            return;
        }
        path.back().m_cursor = path.back().m_node.m_count;
    }
}

const WdbEventBTreeRecord* WdbEventBtree::EventBlockIterator::getRecord() const
{
    if (isEof() || canSkip() || !m_walk->m_path.back().m_node.m_isLeaf) {
        return nullptr;
    }
    m_record.getBlock(m_walk->m_path.back().getChild(), *m_data);
    return &m_record;
}

void WdbEventBtree::EventBlockIterator::getEventBlock(WdbEventBlock& block) const
{
    if (const WdbEventBTreeRecord* const record = getRecord()) {
        block.loadBlock(record->getBlockOffset(), record->getBlockSize(), *m_data);
    } else {
        block.loadBlock(0, 0, *m_data);
    }
}

} // namespace Tracewell
