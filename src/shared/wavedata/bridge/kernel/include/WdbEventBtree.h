// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbEventBTreeRecord.h"
#include "WdbEventBlock.h"
#include "WdbIEventSource.h"

#include <memory>
#include <vector>

namespace Tracewell {

class EventTreeIndex;
struct EventTreeWalk;

/// The event blocks of one bucket of 2,048 addresses in an index by time, so that the block that
/// holds an address's state at some time is found without opening any other. Grows at the end
/// alone, by blocks in the order of their times.
///
/// Index nodes go through one block manager, a write cache, since they are rewritten with each
/// block; event blocks, records and the tree's header through another. Both outlive the tree and
/// everything made from it. No lock: the owner serialises calls, queries included, since these
/// bring open ends into the tree.
class TRACEWELL_API WdbEventBtree
{
public:
    enum class Access { Reading, Writing };

    /// Walks the blocks in the order of their times. Sees what was there when it was made.
    class TRACEWELL_API EventBlockIterator
    {
    public:
        /// Stands at `relativeTime`, counted from the tree's start. Stretches in which no address
        /// rests for longer than `minimumDiff` are passed over; 0 passes over nothing.
        EventBlockIterator(WdbIBlockManager& nodes, WdbIBlockManager& data, long long root,
                           long long relativeTime, long long minimumDiff);
        EventBlockIterator(const EventBlockIterator& other);
        EventBlockIterator& operator=(const EventBlockIterator& other);
        ~EventBlockIterator();

        explicit operator bool() const { return !isEof(); }
        bool isEof() const;
        EventBlockIterator& operator++();
        EventBlockIterator& operator--();
        /// Goes to the last block.
        void moveToLast();
        /// Null at the end, and on a stretch that is passed over. Good until the iterator moves.
        const WdbEventBTreeRecord* getRecord() const;
        /// Loads the current block; an empty one where there is none.
        void getEventBlock(WdbEventBlock& block) const;

    private:
        void position() const;
        bool canSkip() const;
        void findForward() const;
        void findBackward();

        WdbIBlockManager* m_nodes;
        WdbIBlockManager* m_data;
        long long m_root;
        long long m_relativeTime;
        long long m_minimumDiff;
        /// The walk that finds nodes, made when it is first needed.
        mutable std::unique_ptr<EventTreeWalk> m_walk;
        mutable WdbEventBTreeRecord m_record;
    };

    /// The block that holds the state at a time. Stands before its first event and stays there.
    class TRACEWELL_API ValueIterator : public WdbIEventSource::Iterator
    {
    public:
        ValueIterator(const WdbEventBlock& block, long long address);
        bool isEof() const override;
        ValueIterator& operator++() override { return *this; }
        WdbIEventSource::Value getValue() const override { return {}; }
        long long getTime() const override { return 0; }
        long long getEndTime() const override;
        WdbEventBlock& getEventBlock() { return m_block; }
        long long getAddress() const { return m_address; }

    private:
        WdbEventBlock m_block;
        unsigned int m_index;
        long long m_address;
    };

    /// Of a bucket without events.
    class TRACEWELL_API EventIterator : public WdbIEventSource::Iterator
    {
    public:
        bool isEof() const override { return true; }
        EventIterator& operator++() override { return *this; }
        WdbIEventSource::Value getValue() const override { return {}; }
        long long getTime() const override { return 0; }
        long long getEndTime() const override { return 0; }
    };

    /// What a byte is at some time: its last change at or before it.
    struct ByteState
    {
        bool m_isKnown = false;
        unsigned char m_value = 0;
        long long m_time = 0;
        /// The stored block that holds the change.
        long long m_blockOffset = 0;
        unsigned int m_blockSize = 0;
    };

    /// How much a search touched.
    struct SearchCost
    {
        unsigned int m_nodes = 0;
        unsigned int m_blocks = 0;
    };

    /// `tableEntry` is where in the file the tree's header is named; when it names none, one is
    /// made. For reading nothing is ever written, and a header or root that is missing is an empty
    /// tree.
    WdbEventBtree(WdbIBlockManager& nodes, WdbIBlockManager& data, long long tableEntry,
                  unsigned int maxBlockSize, long long baseAddress,
                  Access access = Access::Writing);
    WdbEventBtree(const WdbEventBtree&) = delete;
    WdbEventBtree& operator=(const WdbEventBtree&) = delete;
    /// Stores the block that is open.
    ~WdbEventBtree();

    long long getBaseAddress() const { return m_baseAddress; }
    /// The block that takes events in and is not stored yet.
    WdbEventBlock& getEventBlock() { return m_block; }
    const WdbEventBlock& getEventBlock() const { return m_block; }
    long long getStartTime() const { return m_header.m_startTime; }
    /// Where the index's root lies in the file; 0 for a tree that is empty for good.
    long long getRoot() const;
    /// The time that the index counts from, of the bucket's first event. Rewrites the header.
    void setStartTime(long long time);
    /// Lists the block being filled, which is stored at `blockOffset` with `size` bytes.
    void appendEventBTreeRecord(long long blockOffset, unsigned int size);
    /// Stores and lists the block being filled, if it holds anything, and empties it. Content that
    /// does not compress becomes several blocks.
    void saveEventBlock();
    /// The same, rid of repeats before.
    void filterAndSaveBlock();
    /// filterAndSaveBlock, and the newest block enters the tree with the length that it has so far.
    void flush();
    /// Loads the last stored block at or before `time` in which the address changes. False when
    /// there is none, and the block is as it was.
    bool findEventBlock(long long address, long long time, WdbEventBlock& block) const;
    /// The same search without the block: its record, and what the search touched.
    bool findRecord(long long address, long long time, WdbEventBTreeRecord& record,
                    SearchCost& cost) const;
    /// What the bytes from `address` on are at `time`, for those of `states` that are not known
    /// yet. They stay unknown when the address is not the tree's, or has not changed by then. Opens
    /// blocks in which one of them changes, and no other, into `block`. Adds to `cost`. Stores the
    /// block being filled first.
    void findStates(long long address, long long time, std::vector<ByteState>& states,
                    WdbEventBlock& block, SearchCost& cost);
    /// From the block that `time` falls into on. Stores the block being filled first.
    EventBlockIterator getEventBlockIterator(long long time);
    /// Over the block that holds the address's state at `step`. Stores the block being filled
    /// first.
    std::shared_ptr<WdbIEventSource::Iterator> getValueBlockIterator(long long address,
                                                                     long long step);

private:
    /// As it lies in the file.
    struct Header
    {
        long long m_root = 0;
        long long m_startTime = 0;
        unsigned char m_reserved[WdbEventBlock::kKeySize] = {};
    };
    static_assert(sizeof(Header) == 272);

    void openHeader(long long tableEntry);
    bool isWriting() const { return m_access == Access::Writing; }

    WdbIBlockManager& m_nodes;
    WdbIBlockManager& m_data;
    long long m_headerOffset = 0;
    long long m_baseAddress;
    unsigned int m_maxBlockSize;
    Access m_access;
    Header m_header;
    WdbEventBlock m_block;
    /// Null for a tree that is empty for good.
    std::unique_ptr<EventTreeIndex> m_index;
};

} // namespace Tracewell
