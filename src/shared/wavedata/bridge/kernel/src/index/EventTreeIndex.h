// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "EventTreeNode.h"
#include "WdbEventBTreeRecord.h"

#include <optional>

namespace Tracewell {

/// The index by time of one bucket: a tree of records, appended at the right edge alone. The newest
/// record waits outside of the tree until its length is known, which is when the next one comes or
/// when somebody asks.
///
/// Nodes go through one block manager, since they are rewritten at each append; records and the
/// root's place through another.
class EventTreeIndex
{
public:
    /// The root's place is stored at `rootPlace`; when that is 0, an empty tree is made for
    /// writing, and nothing for reading.
    EventTreeIndex(WdbIBlockManager& nodes, WdbIBlockManager& data, long long rootPlace,
                   bool forWriting);

    /// The record before gets the distance to this one's start time as its length.
    void append(const WdbEventBTreeRecord& record);
    /// Brings the waiting record into the tree with the length that it has so far.
    void flushPending();
    void clearPending() { m_pending.reset(); }

    /// The record of the last block at or before `time`, relative to the tree's start, in which one
    /// of the addresses changes; false when there is none. Adds to `nodes` how many nodes were
    /// read.
    bool find(const EventTreeTarget& target, long long time, WdbEventBTreeRecord& record,
              unsigned int& nodes) const;
    /// The same for the block before the one found last.
    bool findBefore(const EventTreeTarget& target, WdbEventBTreeRecord& record,
                    unsigned int& nodes) const;

    long long getRoot() const { return m_root; }

private:
    struct Entry
    {
        long long child;
        long long length;
        long long largestDiff;
        const unsigned char* key;
    };

    static void appendEntry(EventTreeNode& node, const Entry& entry);
    /// Answers the new root's place, 0 when the root stays.
    long long insert(Entry entry);
    void updateLastEntries(const Entry& entry);
    void growLast(EventTreeNode& node, const Entry& entry) const;
    void writePath();
    long long addNode(const EventTreeNode& node);
    void rebuildPath();
    bool enter(long long place) const;
    bool findBackward(const EventTreeTarget& target, unsigned int end) const;
    bool findByTime(const EventTreeTarget& target, long long time) const;
    bool readRecord(WdbEventBTreeRecord& record) const;

    WdbIBlockManager& m_nodes;
    WdbIBlockManager& m_data;
    long long m_rootPlace;
    long long m_root = 0;
    std::optional<WdbEventBTreeRecord> m_pending;
    /// The right edge, for writing.
    EventTreePath m_path;
    /// Of the search under way; kept for its memory.
    mutable EventTreePath m_search;
    mutable unsigned int m_nodesRead = 0;
};

} // namespace Tracewell
