// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Tracewell {

template <class Block, class List> class BlockStore;
class BlockStoreQueue;
class WdbEventBlockListIterator;

/// Divides the address space into buckets with a block list each (type 1001), so that a reader of
/// few signals reads few blocks. Bucket b covers the addresses from b * division on; what lies
/// behind the last bucket or the address size belongs to the last bucket.
class TRACEWELL_API WdbMultipleBucketEventDatabase final : public WdbIEventBlockDatabase
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;
    using Iterator = WdbEventBlockListIterator;

    WdbMultipleBucketEventDatabase(int typeId, WdbFileManager& fileManager);
    ~WdbMultipleBucketEventDatabase() override;

    /// Full blocks go through `queue` from now on: its threads compress them and store them in the
    /// order in which they became full, so the file is the one without a queue, byte for byte.
    /// Operations that need the blocks in the file wait for them. None of this database's
    /// operations may then be called with the block manager's mutex held. Null ends it.
    void setStoreQueue(std::shared_ptr<BlockStoreQueue> queue);

    void initialize(long long sectionOffset, bool forWriting) override;
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value) override;
    /// Stores all open blocks and list nodes: everything written so far is listed in the file.
    void flush() override;
    void setLatestTime(long long time) override { m_latestTime = time; }
    void setFilterRepeatedValue(bool filter) override { m_filter = filter; }
    /// One iterator for each bucket that has ever been written, in the buckets' order.
    IteratorVector getAllEventBlockDatabaseIterator() const override;
    void getEventBlockDatabaseIterator(
        const std::vector<WdbScalarBTree*>& trees, IteratorVector& iterators,
        std::vector<std::vector<WdbScalarBTree*>>& treeLists) const override;
    IteratorVector
    getEventBlockDatabaseIterator(const std::vector<long long>& addresses) const override;
    long long getLatestTime() const override { return m_latestTime; }
    const WdbEventDatabaseHeader& getEventDatabaseHeader() const override { return m_header; }
    void setAddressMapFileOffsetAndSize(long long offset, long long size) override;
    WdbIEventSource* getIEventDataSource() override { return nullptr; }

    int getDatabaseTypeId() const { return m_typeId; }
    /// Changes, or pieces of one, that were left out because their addresses have no place; the
    /// first is told of on the standard error stream.
    unsigned long long getRefusedCount() const { return m_refusedCount; }

    /// The bucket of an address and the addresses that it covers, by division alone. Above the
    /// address size: false, the last bucket, and `first` and `last` stay as they are.
    bool addressHash(long long address, unsigned int& bucket, long long& first,
                     long long& last) const;
    /// The bucket's list, made in memory and in the file if it is not there; null when there is no
    /// such bucket or the database is open for reading and the bucket was never written. With a
    /// queue, flush() before working on the list itself: a block may still be on its way into it.
    EventBlockList* getOrCreateEventBlockList(int bucket) const;
    /// The bucket's list, or null when it was never written. Creates nothing in the file.
    EventBlockList* loadEventBlockList(int bucket) const;
    /// Adds the event to the list's open block; a full block is filtered and, if that makes no
    /// room, stored. Longer values than a block can take are split by address.
    void saveEvent(EventBlockList* list, long long time, long long address, unsigned int length,
                   const unsigned char* value);

private:
    using Store = BlockStore<WdbEventBlock, EventBlockList>;

    /// Where the byte at an address is stored, and how many bytes from there on stay together.
    struct Place
    {
        unsigned int bucket;
        unsigned long long bytesLeft;
    };

    void prepareHotPath();
    void recoverLatestTime();
    void writeEventSlowly(long long time, long long address, unsigned int length,
                          const unsigned char* value);
    bool isAboveAddressSize(long long address) const;
    /// For addresses that are not negative, when there is a bucket.
    Place findPlace(long long address) const;
    /// The list that an address is stored in; null when nothing can be there.
    EventBlockList* findList(long long address) const;
    std::unique_ptr<EventBlockList> openList(unsigned int bucket, WdbBlockListAccess access) const;
    std::size_t getBucketOf(const EventBlockList& list) const;
    void storeOpenBlock(EventBlockList& list) const;
    /// Brings the blocks and nodes of these lists into the file.
    void storeLists(const std::vector<EventBlockList*>& lists) const;
    IteratorVector makeIterators(const std::vector<EventBlockList*>& lists) const;

    // The hot path: buckets of addresses below m_hotEnd by multiplication with the division's
    // reciprocal, and their open blocks, null while a bucket has none.
    unsigned long long m_hotEnd = 0;
    unsigned long long m_reciprocal = 0;
    unsigned int m_division = 0;
    long long m_latestTime = 0;
    mutable std::vector<WdbEventBlock*> m_openBlocks;

    WdbIBlockManager* m_blockManager;
    std::unique_ptr<Store> m_store;
    /// A slot a bucket, null until the bucket's list is needed.
    mutable std::vector<std::unique_ptr<EventBlockList>> m_lists;
    WdbEventDatabaseHeader m_header;
    long long m_headerOffset = 0;
    int m_typeId;
    bool m_forWriting = false;
    /// Changes without a place, the first of which was told of.
    unsigned long long m_refusedCount = 0;
    bool m_filter = true;
};

} // namespace Tracewell
