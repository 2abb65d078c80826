// SPDX-License-Identifier: BSD-3-Clause

#include "formats/wdb/Wholeness.h"

#include "formats/wdb/IndexNode.h"

#include "WdbAppendingBlockList.h"
#include "WdbEventBlock.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventDatabaseHeader.h"
#include "WdbFileManager.h"
#include "WdbWholeMark.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace tracewell {

namespace {

using ListNode = Tracewell::WdbBlockListNode<100>;
using Tracewell::WdbEventBlock;
using Tracewell::WdbEventBlockDatabaseFactory;

class EndSearch
{
public:
    EndSearch(Tracewell::WdbIBlockManager& storage, const Tracewell::WdbEventDatabaseHeader& header)
        : m_storage(storage), m_header(header), m_block(header.m_maxEventBlockSize, 0)
    {}

    Wholeness find();

private:
    template <class T> bool read(long long offset, T& out)
    {
        if (!m_storage.contains(offset, sizeof out)) {
            return false;
        }
        m_storage.getBlock(offset, reinterpret_cast<char*>(&out), sizeof out);
        return true;
    }

    void takeList(Wholeness& found, long long bucket, long long firstNode);
    void takeTree(Wholeness& found, long long bucket, long long treeHeader);
    bool walkTree(long long node, bool isLast, unsigned int level);
    void takeEnd(Wholeness& found, long long bucket, long long block, unsigned int size,
                 long long firstTime);
    bool mayRead(unsigned long long bytes)
    {
        m_bytesRead += bytes;
        return m_storage.contains(0, m_bytesRead);
    }

    Tracewell::WdbIBlockManager& m_storage;
    const Tracewell::WdbEventDatabaseHeader& m_header;
    WdbEventBlock m_block;
    /// What is sound shares no byte, so that reading each part once reads no more than there is.
    unsigned long long m_bytesRead = 0;
    /// Of the tree at hand.
    long long m_lastRecord = 0;
    bool m_hasEvent = false;
    bool m_hasEventBehindStart = false;
};

Wholeness EndSearch::find()
{
    const int type = m_header.m_databaseTypeId;
    const unsigned int buckets = type == WdbEventBlockDatabaseFactory::kSingleBucket
                                     ? std::min(m_header.m_numberOfBuckets, 1u)
                                     : m_header.m_numberOfBuckets;
    Wholeness found;
    found.upTo = std::numeric_limits<long long>::max();
    for (unsigned int i = 0; i < buckets; ++i) {
        long long entry = 0;
        if (!read(m_header.m_bucketTableOffset + 8 * static_cast<long long>(i), entry)) {
            break;
        }
        if (entry == 0) {
            continue;
        }
        if (type == WdbEventBlockDatabaseFactory::kMultipleBucketBtree) {
            takeTree(found, i, entry);
        } else {
            takeList(found, i, entry);
        }
    }
    found.isClosed = !m_hasEventBehindStart && found.emptyBuckets == 0;
    found.isKnown = !found.isClosed;
    found.hasEvents = m_hasEvent || found.isKnown;
    found.upTo = found.isClosed ? -1 : found.upTo;
    return found;
}

void EndSearch::takeList(Wholeness& found, long long bucket, long long firstNode)
{
    Tracewell::WdbBlockListWalk<ListNode> walk(m_storage, firstNode);
    ListNode::Entry last;
    do {
        const ListNode& node = walk.getNode();
        if (node.m_count > 0) {
            last = node.getEntry(node.m_count - 1);
        }
    } while (mayRead(sizeof(ListNode)) && walk.advance());
    takeEnd(found, bucket, last.m_handle, last.m_size, 0);
}

void EndSearch::takeTree(Wholeness& found, long long bucket, long long treeHeader)
{
    IndexTreeHeader header{};
    read(treeHeader, header);
    m_lastRecord = 0;
    walkTree(header.root, true, 1);
    IndexRecord record{};
    if (m_lastRecord != 0) {
        read(m_lastRecord, record);
    }
    takeEnd(found, bucket, record.block, record.size, header.startTime);
}

/// To the last record before the first one that is missing; false when it is known which that is.
/// Trees grow at their right edge alone, so any other node that is not full is an older image.
bool EndSearch::walkTree(long long node, bool isLast, unsigned int level)
{
    IndexNode::Tail tail{};
    if (level > kMostIndexLevels || !mayRead(sizeof(IndexNode)) ||
        !m_storage.contains(node, sizeof(IndexNode)) ||
        !read(node + static_cast<long long>(offsetof(IndexNode, tail)), tail) ||
        tail.count > IndexNode::kSlots) {
        return false;
    }
    for (unsigned int i = tail.isLeaf != 0 ? std::max(tail.count, 1u) - 1 : 0; i < tail.count;
         ++i) {
        long long child = 0;
        read(node + 8 * static_cast<long long>(i), child);
        if (tail.isLeaf != 0) {
            m_lastRecord = child;
        } else if (!walkTree(child, isLast && i + 1 == tail.count, level + 1)) {
            return false;
        }
    }
    return isLast || tail.count == IndexNode::kSlots;
}

/// Other events of the last one's time may be missing. Without any, nothing before `firstTime` is.
void EndSearch::takeEnd(Wholeness& found, long long bucket, long long block, unsigned int size,
                        long long firstTime)
{
    long long end = firstTime;
    mayRead(std::min(size, m_header.m_maxEventBlockSize));
    m_block.loadBlock(block, size, m_storage);
    if (m_block.isEmpty()) {
        ++found.emptyBuckets;
    } else {
        WdbEventBlock::Iterator event = m_block.getIterator();
        event.setIndex(m_block.size() - 1);
        end = (*event).getTime();
        m_hasEvent = true;
    }
    m_hasEventBehindStart = m_hasEventBehindStart || end != 0;
    const long long upTo = std::max(end, 0LL) - 1;
    if (upTo < found.upTo) {
        found.upTo = upTo;
        found.bucket = bucket;
    }
}

} // namespace

Wholeness findWholeness(Tracewell::WdbFileManager& file,
                        const Tracewell::WdbEventDatabaseHeader& header)
{
    long long mark = 0;
    const bool isMarked = Tracewell::WdbWholeMark::find(file, mark);
    if (header.m_latestTime != 0 || (isMarked && mark == Tracewell::WdbWholeMark::kClosed)) {
        return {};
    }
    Wholeness found = EndSearch(file.getFileBlockManager(), header).find();
    if (isMarked) {
        found.isClosed = false;
        found.isKnown = found.hasEvents = true;
        found.upTo = std::max(mark, -1LL);
        found.bucket = -1;
    }
    return found;
}

} // namespace tracewell
