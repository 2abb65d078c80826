// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMultipleBucketEventDatabase.h"

#include "AddressRefusal.h"
#include "BlockStore.h"
#include "EventSection.h"
#include "WdbBucketFileOffsetTable.h"
#include "WdbEventBlockListIterator.h"
#include "WdbFileManager.h"
#include "WdbScalarBTree.h"
#include "Wrapping.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace Tracewell {

WdbMultipleBucketEventDatabase::WdbMultipleBucketEventDatabase(int typeId,
                                                               WdbFileManager& fileManager)
    : m_blockManager(&fileManager.getFileBlockManager()),
      m_store(std::make_unique<Store>(*m_blockManager)), m_typeId(typeId)
{}

// The latest time comes last: a file in which it stands is complete.
WdbMultipleBucketEventDatabase::~WdbMultipleBucketEventDatabase()
{
    if (!m_forWriting) {
        return;
    }
    flush();
    writeLatestTime(*m_blockManager, m_headerOffset, m_latestTime);
}

void WdbMultipleBucketEventDatabase::setStoreQueue(std::shared_ptr<BlockStoreQueue> queue)
{
    m_store->setQueue(std::move(queue));
}

void WdbMultipleBucketEventDatabase::initialize(long long sectionOffset, bool forWriting)
{
    m_header = readEventDatabaseHeader(*m_blockManager, sectionOffset, forWriting);
    if (m_header.m_bucketDivision == 0 ||
        m_header.m_bucketDivision > std::numeric_limits<unsigned int>::max()) {
        throwDamagedSection("The bucket division of the wave database is damaged.");
    }
    m_headerOffset = sectionOffset;
    m_forWriting = forWriting;
    m_latestTime = m_header.m_latestTime;
    m_lists.resize(m_header.m_numberOfBuckets);
    if (forWriting) {
        prepareHotPath();
    } else if (m_latestTime == 0) {
        recoverLatestTime();
    }
}

void WdbMultipleBucketEventDatabase::prepareHotPath()
{
    m_openBlocks.resize(m_header.m_numberOfBuckets);
    m_division = static_cast<unsigned int>(m_header.m_bucketDivision);
    // For 32-bit numbers, (number * reciprocal) >> 64 is exactly number / division. A division of
    // 1 has no such reciprocal in 64 bits.
    constexpr unsigned long long kMax = std::numeric_limits<unsigned long long>::max();
    m_reciprocal = kMax / m_division + 1;
    const unsigned long long addresses =
        m_header.m_addressSize == kMax ? kMax : m_header.m_addressSize + 1;
    m_hotEnd = m_division == 1
                   ? 0
                   : std::min({addresses, m_header.m_numberOfBuckets * m_header.m_bucketDivision,
                               1ull << 32});
}

// A file whose writer came to its end has the time in the header.
void WdbMultipleBucketEventDatabase::recoverLatestTime()
{
    using Node = EventBlockList::Node;
    WdbEventBlock block(m_header.m_maxEventBlockSize, 0);
    // Lists of a sound file share no byte, so what is read of them fits in the file. Lists of a
    // damaged one may run into each other; they shall not make us read a chain for each bucket.
    unsigned long long bytesRead = 0;
    WdbBucketFileOffsetTable::forEachList(
        *m_blockManager, m_header.m_bucketTableOffset, m_header.m_numberOfBuckets,
        [&](unsigned int /*bucket*/, long long firstNode) {
            if (!m_blockManager->contains(0, bytesRead)) {
                return;
            }
            WdbBlockListWalk<Node> walk(*m_blockManager, firstNode);
            Node::Entry last;
            do {
                bytesRead += sizeof(Node);
                const Node& node = walk.getNode();
                if (node.m_count > 0) {
                    last = node.getEntry(node.m_count - 1);
                }
            } while (m_blockManager->contains(0, bytesRead) && walk.advance());
            bytesRead += std::min(last.m_size, m_header.m_maxEventBlockSize);
            block.loadBlock(last.m_handle, last.m_size, *m_blockManager);
            if (!block.isEmpty()) {
                m_latestTime =
                    std::max(m_latestTime, addTimes(block.getStartTime(), block.getTimeLength()));
            }
        });
}

void WdbMultipleBucketEventDatabase::writeEvent(long long time, long long address,
                                                unsigned int length, const unsigned char* value)
{
    if (static_cast<unsigned long long>(address) < m_hotEnd) {
        const unsigned int place = static_cast<unsigned int>(address);
        const unsigned int bucket =
            static_cast<unsigned int>(static_cast<unsigned __int128>(m_reciprocal) * place >> 64);
        const unsigned int offset = place - bucket * m_division;
        WdbEventBlock* const block = m_openBlocks[bucket];
        if (block && length <= m_division - offset &&
            block->addShortEvent(time, address, length, value)) {
            if (time > m_latestTime) {
                m_latestTime = time;
            }
            return;
        }
    }
    writeEventSlowly(time, address, length, value);
}

// A new bucket, a full block, a bucket border, or an address behind the buckets.
void WdbMultipleBucketEventDatabase::writeEventSlowly(long long time, long long address,
                                                      unsigned int length,
                                                      const unsigned char* value)
{
    if (!m_forWriting || m_lists.empty()) {
        return;
    }
    if (address < 0) {
        refuseAddress(m_refusedCount, address);
        return;
    }
    if (time > m_latestTime) {
        m_latestTime = time;
    }
    while (length > 0) {
        const Place place = findPlace(address);
        const unsigned int piece =
            static_cast<unsigned int>(std::min<unsigned long long>(length, place.bytesLeft));
        saveEvent(getOrCreateEventBlockList(static_cast<int>(place.bucket)), time, address, piece,
                  value);
        address = advanceAddress(address, piece);
        value += piece;
        length -= piece;
    }
}

void WdbMultipleBucketEventDatabase::saveEvent(EventBlockList* list, long long time,
                                               long long address, unsigned int length,
                                               const unsigned char* value)
{
    if (!m_forWriting || !list) {
        return;
    }
    const unsigned int longest = WdbEventBlock::getLongestValue(m_header.m_maxEventBlockSize);
    while (length > 0) {
        const unsigned int piece = std::min(length, longest);
        if (!fitsIntoBlock(address, piece, list->getBaseAddress())) {
            refuseAddress(m_refusedCount, address);
            return;
        }
        WdbEventBlock* block = &list->openItem();
        if (!block->canAdd(piece) && m_filter) {
            block->filterOutRepeatedValue();
        }
        if (!block->canAdd(piece)) {
            storeOpenBlock(*list);
            block = &list->openItem();
        }
        m_openBlocks[getBucketOf(*list)] = block;
        block->addEvent(time, address, piece, value);
        address = advanceAddress(address, piece);
        value += piece;
        length -= piece;
    }
}

void WdbMultipleBucketEventDatabase::flush()
{
    std::vector<EventBlockList*> lists;
    for (const auto& list : m_lists) {
        if (list) {
            lists.push_back(list.get());
        }
    }
    storeLists(lists);
}

WdbIEventBlockDatabase::IteratorVector
WdbMultipleBucketEventDatabase::getAllEventBlockDatabaseIterator() const
{
    std::vector<EventBlockList*> lists;
    WdbBucketFileOffsetTable::forEachList(
        *m_blockManager, m_header.m_bucketTableOffset, m_header.m_numberOfBuckets,
        [&](unsigned int bucket, long long /*firstNode*/) {
            if (EventBlockList* const list = loadEventBlockList(static_cast<int>(bucket))) {
                lists.push_back(list);
            }
        });
    storeLists(lists);
    return makeIterators(lists);
}

// Buckets stand for their lists: the order is then the same in every run.
void WdbMultipleBucketEventDatabase::getEventBlockDatabaseIterator(
    const std::vector<WdbScalarBTree*>& trees, IteratorVector& iterators,
    std::vector<std::vector<WdbScalarBTree*>>& treeLists) const
{
    std::map<unsigned int, std::vector<WdbScalarBTree*>> groups;
    std::vector<long long> addresses;
    for (WdbScalarBTree* const tree : trees) {
        const long long address = tree->getAddress();
        if (findList(address)) {
            groups[findPlace(address).bucket].push_back(tree);
            addresses.push_back(address);
        }
    }
    for (auto& iterator : getEventBlockDatabaseIterator(addresses)) {
        iterators.push_back(std::move(iterator));
    }
    for (auto& group : groups) {
        treeLists.push_back(std::move(group.second));
    }
}

WdbIEventBlockDatabase::IteratorVector
WdbMultipleBucketEventDatabase::getEventBlockDatabaseIterator(
    const std::vector<long long>& addresses) const
{
    std::map<unsigned int, EventBlockList*> found;
    for (const long long address : addresses) {
        if (EventBlockList* const list = findList(address)) {
            found.emplace(findPlace(address).bucket, list);
        }
    }
    std::vector<EventBlockList*> lists;
    lists.reserve(found.size());
    for (const auto& entry : found) {
        lists.push_back(entry.second);
    }
    storeLists(lists);
    return makeIterators(lists);
}

void WdbMultipleBucketEventDatabase::setAddressMapFileOffsetAndSize(long long offset,
                                                                    long long size)
{
    m_header.m_addressMapFileOffset = offset;
    m_header.m_addressMapSize = size;
    m_store->drain();
    if (m_forWriting) {
        writeEventDatabaseHeader(*m_blockManager, m_headerOffset, m_header);
    }
}

bool WdbMultipleBucketEventDatabase::addressHash(long long address, unsigned int& bucket,
                                                 long long& first, long long& last) const
{
    if (isAboveAddressSize(address)) {
        bucket = m_header.m_numberOfBuckets - 1;
        return false;
    }
    const long long division = static_cast<long long>(m_header.m_bucketDivision);
    const long long number = address / division;
    bucket = static_cast<unsigned int>(number);
    first = number * division;
    last = advanceAddress(first, m_header.m_bucketDivision - 1);
    return true;
}

WdbMultipleBucketEventDatabase::EventBlockList*
WdbMultipleBucketEventDatabase::getOrCreateEventBlockList(int bucket) const
{
    if (!m_forWriting || bucket < 0 || static_cast<std::size_t>(bucket) >= m_lists.size()) {
        return loadEventBlockList(bucket);
    }
    auto& slot = m_lists[static_cast<std::size_t>(bucket)];
    if (!slot) {
        // A new list writes its first node, which must come behind the blocks that are under way.
        m_store->drain();
        slot = openList(static_cast<unsigned int>(bucket), EventBlockList::Access::Writing);
    }
    return slot.get();
}

WdbMultipleBucketEventDatabase::EventBlockList*
WdbMultipleBucketEventDatabase::loadEventBlockList(int bucket) const
{
    if (bucket < 0 || static_cast<std::size_t>(bucket) >= m_lists.size()) {
        return nullptr;
    }
    auto& slot = m_lists[static_cast<std::size_t>(bucket)];
    if (!slot) {
        auto list = openList(static_cast<unsigned int>(bucket), EventBlockList::Access::Reading);
        if (list->getFirstNode() == 0) {
            return nullptr;
        }
        slot = m_forWriting
                   ? openList(static_cast<unsigned int>(bucket), EventBlockList::Access::Writing)
                   : std::move(list);
    }
    return slot.get();
}

std::unique_ptr<WdbMultipleBucketEventDatabase::EventBlockList>
WdbMultipleBucketEventDatabase::openList(unsigned int bucket, WdbBlockListAccess access) const
{
    return std::make_unique<EventBlockList>(
        *m_blockManager,
        WdbBucketFileOffsetTable::getEntryOffset(m_header.m_bucketTableOffset, bucket),
        m_header.m_maxEventBlockSize, static_cast<long long>(bucket * m_header.m_bucketDivision),
        access);
}

bool WdbMultipleBucketEventDatabase::isAboveAddressSize(long long address) const
{
    return address >= 0 && static_cast<unsigned long long>(address) > m_header.m_addressSize;
}

WdbMultipleBucketEventDatabase::Place
WdbMultipleBucketEventDatabase::findPlace(long long address) const
{
    const unsigned long long division = m_header.m_bucketDivision;
    const unsigned long long number = static_cast<unsigned long long>(address) / division;
    if (isAboveAddressSize(address) || number >= m_header.m_numberOfBuckets) {
        return {m_header.m_numberOfBuckets - 1, std::numeric_limits<unsigned long long>::max()};
    }
    return {static_cast<unsigned int>(number),
            division - static_cast<unsigned long long>(address) % division};
}

WdbMultipleBucketEventDatabase::EventBlockList*
WdbMultipleBucketEventDatabase::findList(long long address) const
{
    if (m_lists.empty() || address < 0) {
        return nullptr;
    }
    return loadEventBlockList(static_cast<int>(findPlace(address).bucket));
}

std::size_t WdbMultipleBucketEventDatabase::getBucketOf(const EventBlockList& list) const
{
    return static_cast<std::size_t>(static_cast<unsigned long long>(list.getBaseAddress()) /
                                    m_header.m_bucketDivision);
}

void WdbMultipleBucketEventDatabase::storeOpenBlock(EventBlockList& list) const
{
    m_openBlocks[getBucketOf(list)] = nullptr;
    m_store->storeOpenItem(list);
}

void WdbMultipleBucketEventDatabase::storeLists(const std::vector<EventBlockList*>& lists) const
{
    if (!m_forWriting) {
        return;
    }
    for (EventBlockList* const list : lists) {
        // A caller who walks a list of its own accord closes the item behind our back.
        if (list->isItemOpen() || m_openBlocks[getBucketOf(*list)]) {
            storeOpenBlock(*list);
        }
    }
    m_store->drain();
    for (EventBlockList* const list : lists) {
        list->flushNode();
    }
}

WdbIEventBlockDatabase::IteratorVector
WdbMultipleBucketEventDatabase::makeIterators(const std::vector<EventBlockList*>& lists) const
{
    IteratorVector iterators;
    const auto budget = std::make_shared<BlockWalkBudget>();
    for (EventBlockList* const list : lists) {
        iterators.push_back(std::make_shared<Iterator>(*m_blockManager, *list, budget));
        // A list is made for its first event.
        if (!m_forWriting && iterators.back()->isEof()) {
            m_blockManager->noteDamage({WdbDamage::ListNode, list->getFirstNode(),
                                        sizeof(EventBlockList::Node), list->getBaseAddress(),
                                        true});
        }
    }
    return iterators;
}

} // namespace Tracewell
