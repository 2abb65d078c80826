// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEventBtree.h"

#include "BlockStore.h"
#include "EventTreeIndex.h"

#include <algorithm>

namespace Tracewell {

namespace {

/// Of the block that a search without an answer stands on.
constexpr unsigned int kEmptyBlockSize = 100;

/// Takes the bytes that the event gives and that are not known yet, and answers how many these are.
std::size_t takeStates(const WdbEvent& event, const WdbEventBTreeRecord& record, long long address,
                       std::vector<WdbEventBtree::ByteState>& states, EventTreeTarget& target)
{
    const long long start = event.getStartAddress();
    const long long end = addLengths(start, event.getValuelength());
    std::size_t taken = 0;
    for (long long at = std::max(start, address);
         at < end && at - address < static_cast<long long>(states.size()); ++at) {
        WdbEventBtree::ByteState& state = states[static_cast<std::size_t>(at - address)];
        const long long offset = at - event.getBaseAddress();
        if (state.m_isKnown || offset >= WdbEventBlock::kKeyAddresses) {
            continue;
        }
        state = {true, event.getValueWithStartAddress(start, at), event.getTime(),
                 record.getBlockOffset(), record.getBlockSize()};
        target.remove(static_cast<unsigned int>(offset));
        ++taken;
    }
    return taken;
}

} // namespace

WdbIEventSource::~WdbIEventSource() = default;
WdbIEventSource::Iterator::~Iterator() = default;

WdbEventBtree::WdbEventBtree(WdbIBlockManager& nodes, WdbIBlockManager& data, long long tableEntry,
                             unsigned int maxBlockSize, long long baseAddress, Access access)
    : m_nodes(nodes), m_data(data), m_baseAddress(baseAddress), m_maxBlockSize(maxBlockSize),
      m_access(access), m_block(maxBlockSize, baseAddress)
{
    openHeader(tableEntry);
    if (m_headerOffset != 0) {
        m_index = std::make_unique<EventTreeIndex>(m_nodes, m_data, m_headerOffset, isWriting());
    }
}

void WdbEventBtree::openHeader(long long tableEntry)
{
    m_data.getBlock(tableEntry, reinterpret_cast<char*>(&m_headerOffset), sizeof m_headerOffset);
    if (m_headerOffset != 0 && m_data.contains(m_headerOffset, sizeof m_header)) {
        m_data.getBlock(m_headerOffset, reinterpret_cast<char*>(&m_header), sizeof m_header);
        return;
    }
    if (m_headerOffset != 0) {
        m_data.noteDamage({WdbDamage::IndexNode, m_headerOffset, sizeof m_header, m_baseAddress});
    }
    m_headerOffset = 0;
    if (!isWriting()) {
        return;
    }
    m_headerOffset = m_data.addBlock(reinterpret_cast<const char*>(&m_header), sizeof m_header);
    m_data.putBlock(tableEntry, reinterpret_cast<const char*>(&m_headerOffset),
                    sizeof m_headerOffset);
}

WdbEventBtree::~WdbEventBtree()
{
    try {
        filterAndSaveBlock();
    } catch (...) {
        // Events that somebody put into the block from outside of the bucket, which saving it has
        // refused before.
    }
    if (m_index) {
        m_index->flushPending();
    }
}

long long WdbEventBtree::getRoot() const
{
    return m_index ? m_index->getRoot() : 0;
}

void WdbEventBtree::setStartTime(long long time)
{
    m_header.m_startTime = time;
    if (!isWriting()) {
        return;
    }
    m_header.m_root = getRoot();
    m_data.putBlock(m_headerOffset, reinterpret_cast<const char*>(&m_header), sizeof m_header);
}

void WdbEventBtree::appendEventBTreeRecord(long long blockOffset, unsigned int size)
{
    if (!isWriting() || m_block.isEmpty()) {
        return;
    }
    m_block.fillHeader();
    WdbEventBTreeRecord record;
    record.describeBlock(m_block, m_baseAddress);
    record.setBlockPlace(blockOffset, size);
    m_index->append(record);
}

void WdbEventBtree::saveEventBlock()
{
    if (!isWriting() || m_block.isEmpty()) {
        return;
    }
    // Shared by all trees, since its state is large.
    static thread_local ImageCompressor compressor;
    forEachStoredPart(m_block, compressor, [this](const WdbEventBlock& part) {
        WdbEventBTreeRecord record;
        record.describeBlock(part, m_baseAddress);
        record.setBlockPlace(m_data.addBlock(compressor.data(), compressor.size()),
                             compressor.size());
        m_index->append(record);
    });
    m_block.clear();
}

void WdbEventBtree::filterAndSaveBlock()
{
    if (!isWriting() || m_block.isEmpty()) {
        return;
    }
    m_block.filterOutRepeatedValue();
    saveEventBlock();
}

void WdbEventBtree::flush()
{
    filterAndSaveBlock();
    if (m_index) {
        m_index->flushPending();
    }
}

bool WdbEventBtree::findRecord(long long address, long long time, WdbEventBTreeRecord& record,
                               SearchCost& cost) const
{
    const long long offset = subtractTimes(address, m_baseAddress);
    if (!m_index || offset < 0 || offset >= WdbEventBlock::kKeyAddresses) {
        return false;
    }
    m_index->flushPending();
    EventTreeTarget target;
    target.add(static_cast<unsigned int>(offset));
    return m_index->find(target, subtractTimes(time, m_header.m_startTime), record, cost.m_nodes);
}

bool WdbEventBtree::findEventBlock(long long address, long long time, WdbEventBlock& block) const
{
    WdbEventBTreeRecord record;
    SearchCost cost;
    if (!findRecord(address, time, record, cost)) {
        return false;
    }
    block.setBaseAddress(m_baseAddress);
    block.loadBlock(record.getBlockOffset(), record.getBlockSize(), m_data);
    return true;
}

// The block that the time falls into may hold a byte's changes behind the time alone: then it is
// looked for in the blocks before.
void WdbEventBtree::findStates(long long address, long long time, std::vector<ByteState>& states,
                               WdbEventBlock& block, SearchCost& cost)
{
    flush();
    EventTreeTarget target;
    std::size_t missing = 0;
    for (std::size_t i = 0; i < states.size(); ++i) {
        const long long offset =
            subtractTimes(addLengths(address, static_cast<long long>(i)), m_baseAddress);
        if (states[i].m_isKnown || offset < 0 || offset >= WdbEventBlock::kKeyAddresses) {
            continue;
        }
        target.add(static_cast<unsigned int>(offset));
        ++missing;
    }
    if (!m_index || missing == 0) {
        return;
    }
    block.setBaseAddress(m_baseAddress);
    WdbEventBTreeRecord record;
    unsigned int nodes = 0;
    bool found = m_index->find(target, subtractTimes(time, m_header.m_startTime), record, nodes);
    // No more nodes than the storage has room for: those of a damaged tree may be one and the same.
    while (found) {
        if (!m_nodes.contains(0, nodes * sizeof(EventTreeNode))) {
            m_nodes.noteDamage(
                {WdbDamage::IndexNode, getRoot(), sizeof(EventTreeNode), m_baseAddress});
            break;
        }
        block.loadBlock(record.getBlockOffset(), record.getBlockSize(), m_data);
        ++cost.m_blocks;
        WdbEventBlock::Iterator it = block.getIterator();
        bool isNamed = false;
        for (unsigned int index = block.size(); index > 0 && missing > 0;) {
            it.setIndex(--index);
            isNamed = isNamed || target.touches(*it);
            if ((*it).getTime() <= time) {
                missing -= takeStates(*it, record, address, states, target);
            }
        }
        if (!isNamed) {
            m_data.noteDamage({WdbDamage::IndexRecord, record.getRecordOffset(), 0, m_baseAddress});
        }
        if (missing == 0) {
            break;
        }
        found = m_index->findBefore(target, record, nodes);
    }
    cost.m_nodes += nodes;
}

WdbEventBtree::EventBlockIterator WdbEventBtree::getEventBlockIterator(long long time)
{
    flush();
    return EventBlockIterator(m_nodes, m_data, getRoot(), subtractTimes(time, m_header.m_startTime),
                              0);
}

std::shared_ptr<WdbIEventSource::Iterator> WdbEventBtree::getValueBlockIterator(long long address,
                                                                                long long step)
{
    filterAndSaveBlock();
    WdbEventBlock block(m_maxBlockSize, m_baseAddress);
    if (!findEventBlock(address, step, block)) {
        return std::make_shared<ValueIterator>(WdbEventBlock(kEmptyBlockSize, 0), address);
    }
    return std::make_shared<ValueIterator>(block, address);
}

WdbEventBtree::ValueIterator::ValueIterator(const WdbEventBlock& block, long long address)
    : m_block(block), m_index(static_cast<unsigned int>(-1)), m_address(address)
{}

bool WdbEventBtree::ValueIterator::isEof() const
{
    return m_block.isEmpty() || m_index >= m_block.size();
}

long long WdbEventBtree::ValueIterator::getEndTime() const
{
    return addLengths(m_block.getStartTime(), m_block.getTimeLength());
}

} // namespace Tracewell
