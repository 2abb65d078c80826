#include "WdbScalarRecordStore.h"

#include "WdbScalarTreeRecordImage.h"

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

/// The bottom node at the right edge.
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

    const WdbScalarTreeNode::Record entry = {m_block, record.getStartTime(),
                                             record.getTimeAt(record.getNumberOfValues() - 1),
                                             record.getLargestDiff()};
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
    if (bottom.getCount() == 0) {
        return;
    }
    WdbScalarTreeNode::Record entry = bottom.records.back();
    const long long length = saturatingSubtract(nextTime, entry.firstTime);
    const long long oldLength =
        saturatingSubtract(bottom.getTotal(), bottom.getLengthBefore(bottom.getCount() - 1));
    if (length == oldLength) {
        return;
    }
    entry.largestDiff = std::max(entry.largestDiff, saturatingSubtract(nextTime, entry.lastTime));

    WdbScalarTreeRecordImage image;
    char* const bytes = reinterpret_cast<char*>(&image);
    m_records->getBlock(entry.block, bytes, sizeof(image));
    image.indexLength = length;
    image.largestDiff = entry.largestDiff;
    m_records->putBlock(entry.block, bytes, sizeof(image));
    updateRecord(m_root, entry, length);
}

void WdbScalarRecordStore::updateClosedRecord(unsigned char value)
{
    const WdbScalarTreeNode& bottom = lastBottom(*m_root);
    if (bottom.getCount() == 0) {
        return;
    }
    const long long block = bottom.records.back().block;
    WdbScalarTreeRecordImage image;
    char* const bytes = reinterpret_cast<char*>(&image);
    m_records->getBlock(block, bytes, sizeof(image));
    if (image.numberOfValues - 1U < WdbScalarTreeRecord::kCapacity) {
        image.pairs.values[image.numberOfValues - 1U] = value;
        m_records->putBlock(block, bytes, sizeof(image));
    }
}

} // namespace Tracewell
