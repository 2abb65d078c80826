// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

#include <memory>
#include <vector>

namespace Tracewell {

template <class Block, class List> class BlockStore;
class WdbEventBlockListIterator;

/// All events of a run in one block list (type 1000). It can skip nothing on reading, and does not
/// filter repeated values.
class TRACEWELL_API WdbSingleBucketEventDatabase : public WdbIEventBlockDatabase
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;
    using Iterator = WdbEventBlockListIterator;

    WdbSingleBucketEventDatabase(int typeId, WdbFileManager& fileManager);
    ~WdbSingleBucketEventDatabase() override;

    void initialize(long long sectionOffset, bool forWriting) override;
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value) override;
    /// Stores the open block; the list's node follows when a reader asks and at the end.
    void flush() override;
    void setLatestTime(long long time) override { m_latestTime = time; }
    void setFilterRepeatedValue(bool filter) override;
    IteratorVector getAllEventBlockDatabaseIterator() const override;
    /// One iterator, and all trees as its group.
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

private:
    void recoverLatestTime();

    WdbIBlockManager* m_blockManager;
    std::unique_ptr<BlockStore<WdbEventBlock, EventBlockList>> m_store;
    /// Null before initialize and when the section has no bucket.
    std::unique_ptr<EventBlockList> m_list;
    WdbEventDatabaseHeader m_header;
    long long m_headerOffset = 0;
    long long m_latestTime = 0;
    int m_typeId;
    bool m_forWriting = false;
    /// Changes without a place, the first of which was told of.
    unsigned long long m_refusedCount = 0;
};

} // namespace Tracewell
