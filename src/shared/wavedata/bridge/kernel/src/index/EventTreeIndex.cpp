// SPDX-License-Identifier: BSD-3-Clause

#include "EventTreeIndex.h"

#include <algorithm>

namespace Tracewell {

bool enterNode(const WdbIBlockManager& nodes, long long offset, EventTreePath& path,
               unsigned long long entered)
{
    const auto note = [&](bool isOnlyWhenClosed) {
        nodes.noteDamage(
            {WdbDamage::IndexNode, offset, sizeof(EventTreeNode), -1, isOnlyWhenClosed});
    };
    if (offset <= 0 || path.size() >= kMostEventTreeLevels ||
        !nodes.contains(offset, sizeof(EventTreeNode)) ||
        !nodes.contains(0, entered * sizeof(EventTreeNode))) {
        // The root of a tree that was just made.
        note(offset == 0 && path.empty());
        return false;
    }
    path.emplace_back();
    EventTreeStep& step = path.back();
    nodes.getBlock(offset, reinterpret_cast<char*>(&step.m_node), sizeof step.m_node);
    if (step.m_node.m_count > EventTreeNode::kOrder) {
        path.pop_back();
        note(false);
        return false;
    }
    // Nodes of a writer that has not come to its end are of different ages.
    if (!step.m_node.isLikeClosed()) {
        note(true);
    }
    step.m_offset = offset;
    return true;
}

EventTreeIndex::EventTreeIndex(WdbIBlockManager& nodes, WdbIBlockManager& data, long long rootPlace,
                               bool forWriting)
    : m_nodes(nodes), m_data(data), m_rootPlace(rootPlace)
{
    m_data.getBlock(m_rootPlace, reinterpret_cast<char*>(&m_root), sizeof m_root);
    if (!forWriting) {
        return;
    }
    if (m_root == 0) {
        m_root = addNode(EventTreeNode());
        m_data.putBlock(m_rootPlace, reinterpret_cast<const char*>(&m_root), sizeof m_root);
    }
    rebuildPath();
}

void EventTreeIndex::append(const WdbEventBTreeRecord& record)
{
    if (m_pending) {
        m_pending->setIndexLength(subtractTimes(record.getStartTime(), m_pending->getStartTime()));
        flushPending();
    }
    m_pending = record;
}

void EventTreeIndex::flushPending()
{
    if (!m_pending || m_path.empty()) {
        return;
    }
    WdbEventBTreeRecord& record = *m_pending;
    Entry entry = {record.getRecordOffset(), record.getIndexLength(), record.getLargestDiff(),
                   record.getKey()};
    if (record.isSaved()) {
        if (record.isModified()) {
            record.putBlock(record.getRecordOffset(), m_data);
            updateLastEntries(entry);
        }
        return;
    }
    entry.child = record.addBlock(m_data);
    if (const long long root = insert(entry)) {
        m_root = root;
        m_data.putBlock(m_rootPlace, reinterpret_cast<const char*>(&m_root), sizeof m_root);
    }
}

void EventTreeIndex::appendEntry(EventTreeNode& node, const Entry& entry)
{
    const unsigned int place = node.m_count++;
    node.m_children[place] = entry.child;
    node.m_lengths[place] = addLengths(node.getPrecedingLength(place), entry.length);
    node.m_largestDiff = std::max(node.m_largestDiff, entry.largestDiff);
    for (unsigned int i = 0; i < WdbEventBlock::kKeySize; ++i) {
        node.m_keys[place][i] = static_cast<unsigned char>(node.m_keys[place][i] | entry.key[i]);
    }
}

// Nothing is ever inserted but at the right edge, so a full node stays full and gets an empty
// neighbour. That is in the storage before anything points to it.
long long EventTreeIndex::insert(Entry entry)
{
    const std::size_t levels = m_path.size();
    while (m_path.back().m_node.m_count == EventTreeNode::kOrder) {
        const EventTreeStep full = m_path.back();
        m_path.pop_back();
        EventTreeNode neighbour;
        neighbour.m_isLeaf = full.m_node.m_isLeaf;
        appendEntry(neighbour, entry);
        entry.child = addNode(neighbour);
        if (!m_path.empty()) {
            continue;
        }

        EventTreeNode root;
        root.m_isLeaf = 0;
        unsigned char keys[WdbEventBlock::kKeySize] = {};
        for (const auto& key : full.m_node.m_keys) {
            for (unsigned int i = 0; i < WdbEventBlock::kKeySize; ++i) {
                keys[i] = static_cast<unsigned char>(keys[i] | key[i]);
            }
        }
        appendEntry(root,
                    {full.m_offset, full.m_node.getTotalLength(), full.m_node.m_largestDiff, keys});
        appendEntry(root, entry);
        m_root = addNode(root);
        rebuildPath();
        return m_root;
    }
    appendEntry(m_path.back().m_node, entry);
    for (std::size_t level = m_path.size() - 1; level-- > 0;) {
        growLast(m_path[level].m_node,
                 {0, m_path[level + 1].m_node.getTotalLength(), entry.largestDiff, entry.key});
    }
    writePath();
    if (m_path.size() < levels) {
        rebuildPath();
    } else {
        m_path.back().m_cursor = m_path.back().m_node.m_count - 1;
    }
    return 0;
}

void EventTreeIndex::updateLastEntries(const Entry& entry)
{
    Entry forLevel = entry;
    for (std::size_t level = m_path.size(); level-- > 0;) {
        growLast(m_path[level].m_node, forLevel);
        forLevel.length = m_path[level].m_node.getTotalLength();
    }
    writePath();
}

/// What the last entry stands for has this length now, and holds this too.
void EventTreeIndex::growLast(EventTreeNode& node, const Entry& entry) const
{
    if (node.m_count == 0) {
        return;
    }
    const unsigned int last = node.m_count - 1;
    node.m_lengths[last] = addLengths(node.getPrecedingLength(last), entry.length);
    node.m_largestDiff = std::max(node.m_largestDiff, entry.largestDiff);
    for (unsigned int i = 0; i < WdbEventBlock::kKeySize; ++i) {
        node.m_keys[last][i] = static_cast<unsigned char>(node.m_keys[last][i] | entry.key[i]);
    }
}

void EventTreeIndex::writePath()
{
    for (std::size_t level = m_path.size(); level-- > 0;) {
        m_nodes.putBlock(m_path[level].m_offset,
                         reinterpret_cast<const char*>(&m_path[level].m_node),
                         sizeof(EventTreeNode));
    }
}

long long EventTreeIndex::addNode(const EventTreeNode& node)
{
    return m_nodes.addBlock(reinterpret_cast<const char*>(&node), sizeof node);
}

void EventTreeIndex::rebuildPath()
{
    m_path.clear();
    long long place = m_root;
    while (enterNode(m_nodes, place, m_path)) {
        EventTreeStep& step = m_path.back();
        step.m_cursor = step.m_node.m_count > 0 ? step.m_node.m_count - 1 : 0;
        if (step.m_node.m_isLeaf) {
            return;
        }
        place = step.getChild();
    }
    // A right edge that does not end in a leaf is damaged: nothing can be appended to it.
    m_path.clear();
}

bool EventTreeIndex::find(const EventTreeTarget& target, long long time,
                          WdbEventBTreeRecord& record, unsigned int& nodes) const
{
    m_search.clear();
    m_nodesRead = 0;
    const bool found = enter(m_root) && (time >= m_search.front().m_node.getTotalLength()
                                             ? findBackward(target, m_search.back().m_node.m_count)
                                             : findByTime(target, time));
    nodes += m_nodesRead;
    return found && readRecord(record);
}

bool EventTreeIndex::findBefore(const EventTreeTarget& target, WdbEventBTreeRecord& record,
                                unsigned int& nodes) const
{
    m_nodesRead = 0;
    const bool found = !m_search.empty() && findBackward(target, m_search.back().m_cursor);
    nodes += m_nodesRead;
    return found && readRecord(record);
}

/// False when the record names no block in the storage.
bool EventTreeIndex::readRecord(WdbEventBTreeRecord& record) const
{
    record.getBlock(m_search.back().getChild(), m_data);
    const bool isSound = record.getBlockSize() > 0 &&
                         m_data.contains(record.getBlockOffset(), record.getBlockSize());
    if (!isSound) {
        m_data.noteDamage({WdbDamage::EventBlock, record.getBlockOffset(), record.getBlockSize()});
    }
    return isSound;
}

bool EventTreeIndex::enter(long long place) const
{
    return enterNode(m_nodes, place, m_search, ++m_nodesRead);
}

/// To the last record that holds one of the addresses before the entry `end` of the path's last
/// node, here or further up. A node that its parent says more of than it holds is an older image,
/// as a killed writer leaves it, and passed by.
bool EventTreeIndex::findBackward(const EventTreeTarget& target, unsigned int end) const
{
    while (!m_search.empty()) {
        EventTreeStep& step = m_search.back();
        const unsigned int cursor = step.m_node.findBackward(end, target);
        if (cursor == EventTreeNode::kNone) {
            m_search.pop_back();
            end = m_search.empty() ? 0 : m_search.back().m_cursor;
            continue;
        }
        step.m_cursor = cursor;
        if (step.m_node.m_isLeaf) {
            return true;
        }
        if (!enter(step.getChild())) {
            return false;
        }
        end = m_search.back().m_node.m_count;
    }
    return false;
}

bool EventTreeIndex::findByTime(const EventTreeTarget& target, long long time) const
{
    for (;;) {
        EventTreeStep& step = m_search.back();
        const EventTreeNode& node = step.m_node;
        const unsigned int first = node.findTime(time);
        if (first == node.m_count) {
            return findBackward(target, first);
        }
        unsigned int cursor = target.isIn(node.m_keys[first])
                                  ? first
                                  : static_cast<unsigned int>(EventTreeNode::kNone);
        // Entries without length at the beginning, when the time lies before it.
        for (unsigned int next = first + 1;
             next < node.m_count && node.getPrecedingLength(next) == node.getPrecedingLength(first);
             ++next) {
            if (target.isIn(node.m_keys[next])) {
                cursor = next;
            }
        }
        if (cursor == EventTreeNode::kNone) {
            return findBackward(target, first);
        }
        step.m_cursor = cursor;
        if (node.m_isLeaf) {
            return true;
        }
        time = subtractTimes(time, node.getPrecedingLength(cursor));
        if (!enter(step.getChild())) {
            return false;
        }
    }
}

} // namespace Tracewell
