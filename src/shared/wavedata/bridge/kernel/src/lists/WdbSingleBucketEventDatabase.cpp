// SPDX-License-Identifier: BSD-3-Clause

#include "WdbSingleBucketEventDatabase.h"

#include "AddressRefusal.h"
#include "BlockStore.h"
#include "EventSection.h"
#include "WdbEventBlockListIterator.h"
#include "WdbFileManager.h"
#include "Wrapping.h"

#include <algorithm>

namespace Tracewell {

WdbSingleBucketEventDatabase::WdbSingleBucketEventDatabase(int typeId, WdbFileManager& fileManager)
    : m_blockManager(&fileManager.getFileBlockManager()),
      m_store(std::make_unique<BlockStore<WdbEventBlock, EventBlockList>>(*m_blockManager)),
      m_typeId(typeId)
{}

// The latest time comes last: a file in which it stands is complete.
WdbSingleBucketEventDatabase::~WdbSingleBucketEventDatabase()
{
    if (!m_forWriting) {
        return;
    }
    flush();
    m_list.reset();
    writeLatestTime(*m_blockManager, m_headerOffset, m_latestTime);
}

void WdbSingleBucketEventDatabase::initialize(long long sectionOffset, bool forWriting)
{
    m_header = readEventDatabaseHeader(*m_blockManager, sectionOffset, forWriting);
    m_headerOffset = sectionOffset;
    m_latestTime = m_header.m_latestTime;
    if (m_header.m_numberOfBuckets > 0) {
        m_list = std::make_unique<EventBlockList>(
            *m_blockManager, m_header.m_bucketTableOffset, m_header.m_maxEventBlockSize, 0,
            forWriting ? EventBlockList::Access::Writing : EventBlockList::Access::Reading);
    }
    m_forWriting = forWriting;
    recoverLatestTime();
}

void WdbSingleBucketEventDatabase::recoverLatestTime()
{
    long long handle = 0;
    unsigned int size = 0;
    if (!m_list || !m_list->findLastEntry(handle, size)) {
        return;
    }
    WdbEventBlock block(m_header.m_maxEventBlockSize, 0);
    block.loadBlock(handle, size, *m_blockManager);
    if (!block.isEmpty()) {
        m_latestTime =
            std::max(m_latestTime, addTimes(block.getStartTime(), block.getTimeLength()));
    }
}

void WdbSingleBucketEventDatabase::writeEvent(long long time, long long address,
                                              unsigned int length, const unsigned char* value)
{
    if (!m_forWriting || !m_list) {
        return;
    }
    if (address < 0 || !fitsIntoBlock(address, length, 0)) {
        refuseAddress(m_refusedCount, address);
        return;
    }
    const unsigned int longest = WdbEventBlock::getLongestValue(m_header.m_maxEventBlockSize);
    do {
        const unsigned int piece = std::min(length, longest);
        if (!m_list->openItem().canAdd(piece)) {
            flush();
        }
        m_list->openItem().addEvent(time, address, piece, value);
        address = advanceAddress(address, piece);
        value += piece;
        length -= piece;
    } while (length > 0);
    m_latestTime = std::max(m_latestTime, time);
}

void WdbSingleBucketEventDatabase::flush()
{
    if (m_list && m_list->isItemOpen()) {
        m_store->storeOpenItem(*m_list);
    }
}

void WdbSingleBucketEventDatabase::setFilterRepeatedValue(bool /*filter*/) {}

WdbIEventBlockDatabase::IteratorVector
WdbSingleBucketEventDatabase::getAllEventBlockDatabaseIterator() const
{
    IteratorVector iterators;
    if (m_list) {
        if (m_list->isItemOpen()) {
            m_store->storeOpenItem(*m_list);
        }
        iterators.push_back(std::make_shared<Iterator>(*m_blockManager, *m_list,
                                                       std::make_shared<BlockWalkBudget>()));
    }
    return iterators;
}

void WdbSingleBucketEventDatabase::getEventBlockDatabaseIterator(
    const std::vector<WdbScalarBTree*>& trees, IteratorVector& iterators,
    std::vector<std::vector<WdbScalarBTree*>>& treeLists) const
{
    for (auto& iterator : getAllEventBlockDatabaseIterator()) {
        iterators.push_back(std::move(iterator));
        treeLists.push_back(trees);
    }
}

WdbIEventBlockDatabase::IteratorVector WdbSingleBucketEventDatabase::getEventBlockDatabaseIterator(
    const std::vector<long long>& /*addresses*/) const
{
    return getAllEventBlockDatabaseIterator();
}

void WdbSingleBucketEventDatabase::setAddressMapFileOffsetAndSize(long long offset, long long size)
{
    m_header.m_addressMapFileOffset = offset;
    m_header.m_addressMapSize = size;
    if (m_forWriting) {
        writeEventDatabaseHeader(*m_blockManager, m_headerOffset, m_header);
    }
}

} // namespace Tracewell
