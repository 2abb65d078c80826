// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbEventBtree.h"
#include "WdbFileBlockManagerWithCache.h"
#include "WdbFileBlockManagerWithWriteCache.h"
#include "WdbIEventBlockDatabase.h"

#include <memory>
#include <vector>

namespace Tracewell {

class WdbMultipleBucketBtreeEventSource;

/// Divides the address space into buckets of 2,048 addresses with a WdbEventBtree each (type 1002),
/// so that the block with a signal's state at any time is found without a scan. Stores nothing
/// outside of the buckets.
///
/// Index nodes wait in memory: until sync or the database's end the file may lack the newest of
/// them, and flush does nothing.
///
/// Everything but writeEvent into an open block holds the block manager's mutex for its time, so
/// that the iterators of one database may be used on several threads.
class TRACEWELL_API WdbMultipleBucketBtreeDatabase final : public WdbIEventBlockDatabase
{
public:
    /// The only division that the index knows.
    static constexpr unsigned int kBucketDivision = WdbEventBlock::kKeyAddresses;

    class TRACEWELL_API Iterator : public WdbIEventBlockIterator
    {
    public:
        /// `blocks` reads event blocks and may be used by several threads.
        Iterator(const WdbEventBtree::EventBlockIterator& iterator, WdbIBlockManager& blocks,
                 long long baseAddress);
        bool isEof() const override;
        operator bool() const override { return !isEof(); }
        Iterator& operator++() override;
        void getEventBlock(WdbEventBlock& block) override;

    private:
        WdbEventBtree::EventBlockIterator m_iterator;
        WdbIBlockManager* m_blockManager;
        long long m_baseAddress;
    };

    WdbMultipleBucketBtreeDatabase(int typeId, WdbFileManager& fileManager);
    ~WdbMultipleBucketBtreeDatabase() override;

    /// \throws Qsim::OpenException also for another division than kBucketDivision.
    void initialize(long long sectionOffset, bool forWriting) override;
    /// \throws std::out_of_range, and stores nothing, when a byte of the value lies in no bucket.
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value) override;
    /// Does nothing: sync() makes what is there readable.
    void flush() override {}
    /// Brings everything written so far into the file: a reader that opens it now sees all of it,
    /// and it survives the end of this process.
    void sync();
    void setLatestTime(long long time) override { m_latestTime = time; }
    /// Does nothing: repeats are always dropped from a full block.
    void setFilterRepeatedValue(bool) override {}
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
    WdbIEventSource* getIEventDataSource() override;

    int getDatabaseTypeId() const { return m_typeId; }

    /// The bucket of an address and the addresses that it covers. For a negative address, and for
    /// one above the address size: false, the last bucket, and `first` and `last` stay as they are.
    bool addressHash(long long address, unsigned int& bucket, long long& first,
                     long long& last) const;
    /// Makes the bucket's tree, in the file too when there is none yet and the database is open for
    /// writing. A tree that was made before is dropped.
    /// \throws std::out_of_range without such a bucket
    void createEventBtree(int bucket);
    /// The bucket's tree; null when it was never written.
    /// \throws std::out_of_range without such a bucket
    WdbEventBtree* loadEventBtree(int bucket) const;
    /// Adds the event to the tree's open block, which is filtered and, if that makes no room,
    /// stored before.
    void saveEvent(WdbEventBtree* tree, long long time, long long address, unsigned int length,
                   const unsigned char* value);
    /// Loads the block that holds the address's state at `time`. The answer is always false: the
    /// block tells whether there is one. It is left as it was where there is none.
    bool findEventBlock(long long address, long long time, WdbEventBlock& block);
    /// What the bytes from `address` on are at `time`, one for each of `states`, which should be
    /// unknown; see WdbEventBtree::findStates. Bytes without a bucket stay unknown.
    void findStates(long long address, long long time,
                    std::vector<WdbEventBtree::ByteState>& states, WdbEventBtree::SearchCost& cost);
    /// Over the block that holds the address's state at `step`; at its end, and empty, where there
    /// is none.
    std::shared_ptr<WdbIEventSource::Iterator> makeValueIterator(long long address, long long step);
    /// The tree that an address belongs to, by addressHash's rule; null when it was never written.
    WdbEventBtree* findTree(long long address) const;

private:
    bool liesInBuckets(long long address, unsigned int length) const;
    unsigned int findBucket(long long address) const;
    std::unique_ptr<WdbEventBtree> makeTree(unsigned int bucket) const;
    std::shared_ptr<WdbIEventBlockIterator> makeIterator(WdbEventBtree& tree) const;
    void recoverLatestTime() TRACEWELL_REQUIRES(m_blockManager.getMutex());

    WdbFileManager& m_fileManager;
    WdbIBlockManager& m_blockManager;
    // Made when the file is open. The trees go before them.
    std::unique_ptr<WdbFileBlockManagerWithWriteCache> m_nodes;
    std::unique_ptr<WdbFileBlockManagerWithCache> m_data;
    /// A slot a bucket, null until the bucket's tree is needed.
    mutable std::vector<std::unique_ptr<WdbEventBtree>> m_trees;
    WdbEventDatabaseHeader m_header;
    /// Of findStates, kept for its memory.
    std::unique_ptr<WdbEventBlock> m_stateBlock TRACEWELL_GUARDED_BY(m_blockManager.getMutex());
    long long m_headerOffset = 0;
    long long m_latestTime = 0;
    int m_typeId;
    bool m_forWriting = false;
    std::unique_ptr<WdbMultipleBucketBtreeEventSource> m_eventSource;
};

} // namespace Tracewell
