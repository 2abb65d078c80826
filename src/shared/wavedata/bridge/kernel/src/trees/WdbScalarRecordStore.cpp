// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarRecordStore.h"

namespace Tracewell {

namespace {

using NodePointer = std::shared_ptr<WdbScalarTreeNode>;

/// The node in `slot`, which nobody else sees from now on. Call it from the root down.
WdbScalarTreeNode& own(NodePointer& slot)
{
    if (slot.use_count() > 1) {
        slot = std::make_shared<WdbScalarTreeNode>(*slot);
    }
    return *slot;
}

void refreshLast(WdbScalarTreeNode& node)
{
    node.updateLast(node.nodes.back()->getTotal(), node.nodes.back()->largestDiff);
}

/// Adds a record at the right edge. When all nodes there are full, the answer is a new sibling of
/// the node in `slot` that holds the record.
NodePointer addRecord(NodePointer& slot, const WdbScalarTreeNode::Record& record, long long length,
                      unsigned int fanOut)
{
    WdbScalarTreeNode& node = own(slot);
    const bool hasRoom = node.getCount() < fanOut;
    NodePointer sibling;
    if (node.isBottom) {
        if (!hasRoom) {
            sibling = std::make_shared<WdbScalarTreeNode>(true);
        }
        (hasRoom ? node : *sibling).add(record, length);
        return sibling;
    }
    NodePointer child = addRecord(node.nodes.back(), record, length, fanOut);
    if (!child) {
        refreshLast(node);
        return nullptr;
    }
    if (!hasRoom) {
        sibling = std::make_shared<WdbScalarTreeNode>(false);
    }
    (hasRoom ? node : *sibling).add(std::move(child));
    return sibling;
}

void updateRecord(NodePointer& slot, const WdbScalarTreeNode::Record& record, long long length)
{
    WdbScalarTreeNode& node = own(slot);
    if (node.isBottom) {
        node.records.back() = record;
        node.updateLast(length, record.largestDiff);
    } else {
        updateRecord(node.nodes.back(), record, length);
        refreshLast(node);
    }
}

/// Removes the last record, and with it the nodes that it leaves empty below `slot`.
void removeRecord(NodePointer& slot)
{
    WdbScalarTreeNode& node = own(slot);
    if (node.isBottom) {
        node.removeLast();
        return;
    }
    removeRecord(node.nodes.back());
    if (node.nodes.back()->getCount() == 0) {
        node.removeLast();
    } else {
        refreshLast(node);
    }
}

/// Describes `count` pairs, at least one, at `block`. `nextDiff` is the distance behind the last.
WdbScalarTreeNode::Record describe(long long block, const long long* times,
                                   const unsigned char* values, unsigned int count,
                                   long long nextDiff)
{
    long long largest = std::max(nextDiff, 0LL);
    long long second = 0;
    unsigned int gapStart = count - 1;
    for (unsigned int i = 1; i < count; ++i) {
        const long long diff = saturatingSubtract(times[i], times[i - 1]);
        if (diff <= second) {
            continue;
        }
        if (diff > largest) {
            second = largest;
            largest = diff;
            gapStart = i - 1;
        } else {
            second = diff;
        }
    }
    return {block,  times[0],        times[count - 1], largest,
            second, times[gapStart], values[gapStart], values[count - 1]};
}

/// The bottom node at the right edge. Never empty once a record was closed.
const WdbScalarTreeNode& lastBottom(const WdbScalarTreeNode& root)
{
    const WdbScalarTreeNode* node = &root;
    while (!node->isBottom) {
        node = node->nodes.back().get();
    }
    return *node;
}

} // namespace

WdbScalarRecordStore::WdbScalarRecordStore(WdbIBlockManager& records, unsigned int fanOut)
    : m_records(&records), m_fanOut(fanOut), m_root(std::make_shared<WdbScalarTreeNode>(true))
{}

void WdbScalarRecordStore::saveRecord(WdbScalarTreeRecord& record)
{
    if (record.isEmpty() || !record.isModified()) {
        return;
    }
    WdbScalarTreeRecordImage image;
    image.assign(record);
    const char* const bytes = reinterpret_cast<const char*>(&image);
    const bool isNew = !m_isSaved;
    if (isNew) {
        m_block = m_records->addBlock(bytes, sizeof(image));
        m_isSaved = true;
    } else {
        m_records->putBlock(m_block, bytes, sizeof(image));
    }
    record.saved();

    const long long nextDiff = saturatingSubtract(record.getIndexLength(), record.getTimeLength());
    const WdbScalarTreeNode::Record entry = describe(m_block, record.getTimes(), record.getValues(),
                                                     record.getNumberOfValues(), nextDiff);
    if (!isNew) {
        updateRecord(m_root, entry, record.getIndexLength());
    } else if (NodePointer sibling = addRecord(m_root, entry, record.getIndexLength(), m_fanOut)) {
        NodePointer root = std::make_shared<WdbScalarTreeNode>(false);
        root->add(std::move(m_root));
        root->add(std::move(sibling));
        m_root = std::move(root);
    }
}

void WdbScalarRecordStore::closeRecord()
{
    m_block = 0;
    m_isSaved = false;
}

void WdbScalarRecordStore::dropRecord()
{
    if (!m_isSaved) {
        return;
    }
    m_records->freeBlock(m_block, sizeof(WdbScalarTreeRecordImage));
    closeRecord();
    removeRecord(m_root);
}

void WdbScalarRecordStore::extendClosedRecord(long long nextTime)
{
    const WdbScalarTreeNode& bottom = lastBottom(*m_root);
    const WdbScalarTreeNode::Record& old = bottom.records.back();
    const long long length = saturatingSubtract(nextTime, old.firstTime);
    const long long oldLength =
        saturatingSubtract(bottom.getTotal(), bottom.getLengthBefore(bottom.getCount() - 1));
    if (length == oldLength) {
        return;
    }
    WdbScalarTreeRecordImage image;
    readRecord(old.block, image);
    const WdbScalarTreeNode::Record entry =
        describe(old.block, image.pairs.times, image.pairs.values, image.numberOfValues,
                 saturatingSubtract(nextTime, old.lastTime));
    image.indexLength = length;
    image.largestDiff = entry.largestDiff;
    m_records->putBlock(entry.block, reinterpret_cast<const char*>(&image), sizeof(image));
    updateRecord(m_root, entry, length);
}

void WdbScalarRecordStore::updateClosedRecord(unsigned char value)
{
    WdbScalarTreeNode::Record entry = lastBottom(*m_root).records.back();
    WdbScalarTreeRecordImage image;
    readRecord(entry.block, image);
    image.pairs.values[image.numberOfValues - 1] = value;
    m_records->putBlock(entry.block, reinterpret_cast<const char*>(&image), sizeof(image));
    entry.lastValue = value;
    updateRecord(m_root, entry, image.indexLength);
}

void WdbScalarRecordStore::readRecord(long long block, WdbScalarTreeRecordImage& image) const
{
    m_records->getBlock(block, reinterpret_cast<char*>(&image), sizeof(image));
    image.numberOfValues = std::clamp(image.numberOfValues, 1U, WdbScalarTreeRecord::kCapacity);
}

} // namespace Tracewell
