// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMultipleBucketBtreeDatabase.h"

#include "EventSection.h"
#include "EventTreeNode.h"
#include "WdbBucketFileOffsetTable.h"
#include "WdbFileManager.h"
#include "WdbMultipleBucketBtreeEventSource.h"
#include "WdbScalarBTree.h"
#include "Wrapping.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>

namespace Tracewell {

namespace {

using Lock = CheckedLock<boost::recursive_mutex>;

/// Of each of the two caches, in blocks.
constexpr unsigned long long kCacheCapacity = 100;
/// Before any event, whatever the tree's start time.
constexpr long long kBeforeAll = std::numeric_limits<long long>::min();

} // namespace

WdbMultipleBucketBtreeDatabase::Iterator::Iterator(
    const WdbEventBtree::EventBlockIterator& iterator, WdbIBlockManager& blocks,
    long long baseAddress)
    : m_iterator(iterator), m_blockManager(&blocks), m_baseAddress(baseAddress)
{}

bool WdbMultipleBucketBtreeDatabase::Iterator::isEof() const
{
    const Lock lock(m_blockManager->getMutex());
    return m_iterator.isEof();
}

WdbMultipleBucketBtreeDatabase::Iterator& WdbMultipleBucketBtreeDatabase::Iterator::operator++()
{
    const Lock lock(m_blockManager->getMutex());
    ++m_iterator;
    return *this;
}

// The index is read under the mutex, and the block unpacked without it, so that a scan of several
// buckets does that side by side.
void WdbMultipleBucketBtreeDatabase::Iterator::getEventBlock(WdbEventBlock& block)
{
    long long offset = 0;
    unsigned int size = 0;
    {
        const Lock lock(m_blockManager->getMutex());
        if (const WdbEventBTreeRecord* const record = m_iterator.getRecord()) {
            offset = record->getBlockOffset();
            size = record->getBlockSize();
        }
    }
    block.setBaseAddress(m_baseAddress);
    block.loadBlock(offset, size, *m_blockManager);
}

WdbMultipleBucketBtreeDatabase::WdbMultipleBucketBtreeDatabase(int typeId,
                                                               WdbFileManager& fileManager)
    : m_fileManager(fileManager), m_blockManager(fileManager.getFileBlockManager()),
      m_typeId(typeId), m_eventSource(std::make_unique<WdbMultipleBucketBtreeEventSource>(*this))
{}

// The latest time comes last: a file in which it stands is complete.
WdbMultipleBucketBtreeDatabase::~WdbMultipleBucketBtreeDatabase()
{
    const Lock lock(m_blockManager.getMutex());
    m_eventSource.reset();
    m_trees.clear();
    m_nodes.reset();
    m_data.reset();
    if (m_forWriting) {
        writeLatestTime(m_blockManager, m_headerOffset, m_latestTime);
    }
}

void WdbMultipleBucketBtreeDatabase::initialize(long long sectionOffset, bool forWriting)
{
    const Lock lock(m_blockManager.getMutex());
    m_header = readEventDatabaseHeader(m_blockManager, sectionOffset, forWriting);
    if (m_header.m_bucketDivision != kBucketDivision) {
        throwDamagedSection("A wave database with an index by time needs a bucket division of "
                            "2048 addresses.");
    }
    m_nodes = std::make_unique<WdbFileBlockManagerWithWriteCache>(m_fileManager.getiostream(),
                                                                  kCacheCapacity);
    m_data =
        std::make_unique<WdbFileBlockManagerWithCache>(m_fileManager.getiostream(), kCacheCapacity);
    // All three stand for one file: what breaks for one of them is broken for all.
    for (WdbIBlockManager* const manager :
         std::initializer_list<WdbIBlockManager*>{m_nodes.get(), m_data.get()}) {
        manager->setDamageLog(m_blockManager.getDamageLog());
        manager->shareHealth(m_blockManager);
    }
    m_headerOffset = sectionOffset;
    m_forWriting = forWriting;
    m_latestTime = m_header.m_latestTime;
    m_trees.resize(m_header.m_numberOfBuckets);
    if (!forWriting && m_latestTime == 0) {
        recoverLatestTime();
    }
}

// A file whose writer came to its end has the time in the header.
void WdbMultipleBucketBtreeDatabase::recoverLatestTime()
{
    WdbEventBlock block(m_header.m_maxEventBlockSize, 0);
    WdbBucketFileOffsetTable::forEachList(
        m_blockManager, m_header.m_bucketTableOffset, m_header.m_numberOfBuckets,
        [&](unsigned int bucket, long long) {
            WdbEventBtree* const tree = loadEventBtree(static_cast<int>(bucket));
            if (!tree) {
                return;
            }
            WdbEventBtree::EventBlockIterator last = tree->getEventBlockIterator(kBeforeAll);
            last.moveToLast();
            last.getEventBlock(block);
            if (!block.isEmpty()) {
                m_latestTime =
                    std::max(m_latestTime, addTimes(block.getStartTime(), block.getTimeLength()));
            }
        });
}

void WdbMultipleBucketBtreeDatabase::writeEvent(long long time, long long address,
                                                unsigned int length, const unsigned char* value)
{
    if (!m_forWriting || length == 0) {
        return;
    }
    if (!liesInBuckets(address, length)) {
        throw std::out_of_range("event outside the buckets");
    }
    if (time > m_latestTime) {
        m_latestTime = time;
    }
    while (length > 0) {
        const unsigned int bucket = static_cast<unsigned int>(address / kBucketDivision);
        const unsigned int offset = static_cast<unsigned int>(address % kBucketDivision);
        const unsigned int piece = std::min(length, kBucketDivision - offset);
        if (!m_trees[bucket]) {
            createEventBtree(static_cast<int>(bucket));
            const Lock lock(m_blockManager.getMutex());
            m_trees[bucket]->setStartTime(time);
        }
        saveEvent(m_trees[bucket].get(), time, address, piece, value);
        address += piece;
        value += piece;
        length -= piece;
    }
}

/// Whether each piece goes to a bucket that covers it. What begins above the address size goes to
/// the last one.
bool WdbMultipleBucketBtreeDatabase::liesInBuckets(long long address, unsigned int length) const
{
    const unsigned long long end = m_trees.size() * std::uint64_t{kBucketDivision};
    const auto first = static_cast<unsigned long long>(address);
    if (address < 0 || first >= end || length > end - first) {
        return false;
    }
    const unsigned long long size = m_header.m_addressSize;
    const unsigned long long last = first + length - 1;
    if (last <= size) {
        return true;
    }
    const unsigned long long above =
        first > size ? first : (size / kBucketDivision + 1) * kBucketDivision;
    return above > last || above >= end - kBucketDivision;
}

void WdbMultipleBucketBtreeDatabase::saveEvent(WdbEventBtree* tree, long long time,
                                               long long address, unsigned int length,
                                               const unsigned char* value)
{
    if (!m_forWriting || !tree) {
        return;
    }
    WdbEventBlock& block = tree->getEventBlock();
    const unsigned int longest = WdbEventBlock::getLongestValue(block.getMaxEventBlockSize());
    while (length > 0) {
        const unsigned int piece = std::min(length, longest);
        if (!block.canAdd(piece)) {
            block.filterOutRepeatedValue();
            if (!block.canAdd(piece)) {
                const Lock lock(m_blockManager.getMutex());
                tree->saveEventBlock();
            }
        }
        block.addEvent(time, address, piece, value);
        address = advanceAddress(address, piece);
        value += piece;
        length -= piece;
    }
}

void WdbMultipleBucketBtreeDatabase::sync()
{
    if (!m_forWriting) {
        return;
    }
    const Lock lock(m_blockManager.getMutex());
    for (const auto& tree : m_trees) {
        if (tree) {
            tree->flush();
        }
    }
    m_nodes->sync();
}

// Trees of a damaged file may be one and the same; each is walked once.
WdbIEventBlockDatabase::IteratorVector
WdbMultipleBucketBtreeDatabase::getAllEventBlockDatabaseIterator() const
{
    const Lock lock(m_blockManager.getMutex());
    IteratorVector iterators;
    std::set<long long> roots;
    WdbBucketFileOffsetTable::forEachList(
        m_blockManager, m_header.m_bucketTableOffset, m_header.m_numberOfBuckets,
        [&](unsigned int bucket, long long) {
            WdbEventBtree* const tree = loadEventBtree(static_cast<int>(bucket));
            if (tree && roots.insert(tree->getRoot()).second) {
                iterators.push_back(makeIterator(*tree));
            }
        });
    return iterators;
}

void WdbMultipleBucketBtreeDatabase::getEventBlockDatabaseIterator(
    const std::vector<WdbScalarBTree*>& trees, IteratorVector& iterators,
    std::vector<std::vector<WdbScalarBTree*>>& treeLists) const
{
    const Lock lock(m_blockManager.getMutex());
    std::map<unsigned int, std::vector<WdbScalarBTree*>> groups;
    for (WdbScalarBTree* const tree : trees) {
        if (findTree(tree->getAddress())) {
            groups[findBucket(tree->getAddress())].push_back(tree);
        }
    }
    for (auto& group : groups) {
        iterators.push_back(makeIterator(*m_trees[group.first]));
        treeLists.push_back(std::move(group.second));
    }
}

WdbIEventBlockDatabase::IteratorVector
WdbMultipleBucketBtreeDatabase::getEventBlockDatabaseIterator(
    const std::vector<long long>& addresses) const
{
    const Lock lock(m_blockManager.getMutex());
    std::set<unsigned int> buckets;
    for (const long long address : addresses) {
        if (findTree(address)) {
            buckets.insert(findBucket(address));
        }
    }
    IteratorVector iterators;
    for (const unsigned int bucket : buckets) {
        iterators.push_back(makeIterator(*m_trees[bucket]));
    }
    return iterators;
}

void WdbMultipleBucketBtreeDatabase::setAddressMapFileOffsetAndSize(long long offset,
                                                                    long long size)
{
    m_header.m_addressMapFileOffset = offset;
    m_header.m_addressMapSize = size;
    if (m_forWriting) {
        writeEventDatabaseHeader(m_blockManager, m_headerOffset, m_header);
    }
}

WdbIEventSource* WdbMultipleBucketBtreeDatabase::getIEventDataSource()
{
    return m_eventSource.get();
}

bool WdbMultipleBucketBtreeDatabase::addressHash(long long address, unsigned int& bucket,
                                                 long long& first, long long& last) const
{
    if (address < 0 || static_cast<unsigned long long>(address) > m_header.m_addressSize) {
        bucket = m_header.m_numberOfBuckets - 1;
        return false;
    }
    const long long division = static_cast<long long>(m_header.m_bucketDivision);
    bucket = static_cast<unsigned int>(address / division);
    first = address / division * division;
    last = advanceAddress(first, m_header.m_bucketDivision - 1);
    return true;
}

void WdbMultipleBucketBtreeDatabase::createEventBtree(int bucket)
{
    const Lock lock(m_blockManager.getMutex());
    auto& slot = m_trees.at(static_cast<std::size_t>(bucket));
    slot.reset();
    slot = makeTree(static_cast<unsigned int>(bucket));
}

WdbEventBtree* WdbMultipleBucketBtreeDatabase::loadEventBtree(int bucket) const
{
    const Lock lock(m_blockManager.getMutex());
    auto& slot = m_trees.at(static_cast<std::size_t>(bucket));
    if (!slot) {
        long long header = 0;
        m_blockManager.getBlock(
            WdbBucketFileOffsetTable::getEntryOffset(m_header.m_bucketTableOffset,
                                                     static_cast<unsigned int>(bucket)),
            reinterpret_cast<char*>(&header), sizeof header);
        if (header != 0) {
            slot = makeTree(static_cast<unsigned int>(bucket));
        }
    }
    return slot.get();
}

std::unique_ptr<WdbEventBtree> WdbMultipleBucketBtreeDatabase::makeTree(unsigned int bucket) const
{
    return std::make_unique<WdbEventBtree>(
        *m_nodes, *m_data,
        WdbBucketFileOffsetTable::getEntryOffset(m_header.m_bucketTableOffset, bucket),
        m_header.m_maxEventBlockSize, bucket * static_cast<long long>(kBucketDivision),
        m_forWriting ? WdbEventBtree::Access::Writing : WdbEventBtree::Access::Reading);
}

bool WdbMultipleBucketBtreeDatabase::findEventBlock(long long address, long long time,
                                                    WdbEventBlock& block)
{
    const Lock lock(m_blockManager.getMutex());
    if (const WdbEventBtree* const tree = findTree(address)) {
        tree->findEventBlock(address, time, block);
    }
    return false;
}

void WdbMultipleBucketBtreeDatabase::findStates(long long address, long long time,
                                                std::vector<WdbEventBtree::ByteState>& states,
                                                WdbEventBtree::SearchCost& cost)
{
    const Lock lock(m_blockManager.getMutex());
    if (!m_stateBlock) {
        m_stateBlock = std::make_unique<WdbEventBlock>(m_header.m_maxEventBlockSize, 0);
    }
    // The tree of the first byte, and then of each bucket's first one.
    for (unsigned long long i = 0; i < states.size();) {
        const long long byte = advanceAddress(address, i);
        if (WdbEventBtree* const tree = findTree(byte)) {
            tree->findStates(address, time, states, *m_stateBlock, cost);
        }
        i += kBucketDivision - static_cast<unsigned long long>(byte) % kBucketDivision;
    }
}

WdbEventBtree* WdbMultipleBucketBtreeDatabase::findTree(long long address) const
{
    return m_trees.empty() ? nullptr : loadEventBtree(static_cast<int>(findBucket(address)));
}

/// When there is a bucket at all.
unsigned int WdbMultipleBucketBtreeDatabase::findBucket(long long address) const
{
    unsigned int bucket = 0;
    long long first = 0;
    long long last = 0;
    addressHash(address, bucket, first, last);
    return std::min(bucket, m_header.m_numberOfBuckets - 1);
}

std::shared_ptr<WdbIEventSource::Iterator>
WdbMultipleBucketBtreeDatabase::makeValueIterator(long long address, long long step)
{
    const Lock lock(m_blockManager.getMutex());
    if (WdbEventBtree* const tree = findTree(address)) {
        return tree->getValueBlockIterator(address, step);
    }
    return std::make_shared<WdbEventBtree::ValueIterator>(
        WdbEventBlock(WdbEventBlock::kHeaderSize, 0), address);
}

std::shared_ptr<WdbIEventBlockIterator>
WdbMultipleBucketBtreeDatabase::makeIterator(WdbEventBtree& tree) const
{
    return std::make_shared<Iterator>(tree.getEventBlockIterator(kBeforeAll), m_blockManager,
                                      tree.getBaseAddress());
}

} // namespace Tracewell
