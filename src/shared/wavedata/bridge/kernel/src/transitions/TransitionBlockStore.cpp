// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionBlockStore.h"

#include "BlockCodec.h"
#include "DiskLayout.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

namespace Tracewell {

TransitionBlockStore::TransitionBlockStore(DataBaseMode mode, const std::string& fileName,
                                           const DataBaseLimits& limits, const NodeTree& tree,
                                           WdbDamageLog& damage)
    : m_mode(mode), m_fileName(fileName), m_tree(tree), m_damage(damage),
      m_blockPool(limits.blockBytes, limits.minBlocksPerSize),
      m_readBackPool(
          mode == DataBaseMode::StoringReader
              ? std::make_unique<TransitionPool>(limits.readBackBytes, limits.minBlocksPerSize)
              : nullptr)
{}

std::uint32_t* TransitionBlockStore::allocate(BTreeElem& leaf, std::size_t bytes)
{
    const MutexLock lock(m_mutex);
    ListNode* const node = m_blockPool.allocate(bytes);
    takeOver(*node, leaf);
    return leaf.data;
}

// The former owner can have its data elsewhere by now, or nowhere: written blocks keep their node.
void TransitionBlockStore::takeOver(ListNode& node, BTreeElem& leaf)
{
    auto* const former = static_cast<BTreeElem*>(node.owner);
    if (former && former->data == node.data) {
        writeOneBlock(*former);
    }
    node.owner = &leaf;
    leaf.data = node.data;
}

void TransitionBlockStore::writeTree(BTreeElem& root)
{
    if (!root.isLeaf()) {
        for (BTreeElem* const child : *root.children) {
            writeTree(*child);
        }
        return;
    }
    const MutexLock lock(m_mutex);
    if (root.fileOffset < 0) {
        writeOneBlock(root);
    }
}

void TransitionBlockStore::reset()
{
    const MutexLock lock(m_mutex);
    m_blockPool.reset();
    if (m_readBackPool) {
        m_readBackPool->reset();
    }
    m_readBackFile.close();
}

bool TransitionBlockStore::openForWriting()
{
    if (m_file.isOpen()) {
        return true;
    }
    const bool isReader = m_mode == DataBaseMode::StoringReader;
    // FileIO would make a file for its owner alone, and a recording is read by whoever may read
    // what is beside it.
    if (!m_fileName.empty()) {
        DescriptorFile().open(m_fileName, DescriptorFile::Mode::Create);
    }
    if (!m_file.open(m_fileName, isReader ? FileIO::ReadWrite : FileIO::Write)) {
        return false;
    }
    // That mode empties nothing, and debug data goes to the end of the file.
    boost::system::error_code ignored;
    if (isReader) {
        boost::filesystem::resize_file(m_fileName, 0, ignored);
    }
    return m_file.setOffset(DataBaseFileHeader::kBytes);
}

bool TransitionBlockStore::openForReading()
{
    const MutexLock lock(m_mutex);
    return openReadBackFile();
}

bool TransitionBlockStore::openReadBackFile()
{
    return m_readBackFile.isOpen() || m_readBackFile.open(m_fileName, DescriptorFile::Mode::Read);
}

// Drops the block from memory once the file has it. One that was read back is there already.
void TransitionBlockStore::writeOneBlock(BTreeElem& leaf)
{
    if (!leaf.data) {
        return;
    }
    if (leaf.fileOffset < 0 && openForWriting()) {
        leaf.fileOffset = m_file.getOffset();
        const auto bytes = static_cast<unsigned int>(blockBytes(leaf.flags, leaf.count));
        if (!m_file.writeData(leaf.data, bytes) && m_failureHook) {
            m_failureHook();
        }
    }
    leaf.data = nullptr;
}

void TransitionBlockStore::fetch(BTreeElem& leaf)
{
    if (leaf.data) {
        return;
    }
    const std::size_t bytes = blockBytes(leaf.flags, leaf.count);
    bool isRead = true;
    if (bytes != 0) {
        ListNode* const node = readBackPool().allocate(bytes);
        takeOver(*node, leaf);
        isRead = leaf.fileOffset >= 0 && openReadBackFile() &&
                 m_readBackFile.readAt(leaf.fileOffset, reinterpret_cast<char*>(leaf.data),
                                       bytes) == bytes;
        if (!isRead) {
            std::memset(leaf.data, 0, bytes);
        }
    }
    if (m_mode == DataBaseMode::Viewer) {
        checkFetched(leaf, isRead);
    }
}

namespace {

bool fitTogether(const DataBlockInfo& block)
{
    const GapSum gaps = addGaps(block);
    return gaps.isAscending && gaps.sum == BlockReader::advance(block.lastTime, -block.firstTime) &&
           gaps.largest <= block.largestDiff;
}

} // namespace

// Where the times in the leaf and the gaps in the block do not fit together, neither is to be
// believed. So nothing is known of the object from the end of the next leaf before it on which is
// sound.
void TransitionBlockStore::checkFetched(const BTreeElem& leaf, bool isRead)
{
    if (isRead && fitTogether(leaf)) {
        return;
    }
    const BTreeElem* before = m_tree.findLeafBefore(leaf);
    while (before && !isSound(*before)) {
        before = m_tree.findLeafBefore(*before);
    }
    m_damage.note({WdbDamage::TransitionBlock, leaf.fileOffset, blockBytes(leaf.flags, leaf.count),
                   -1, false, true, before ? BlockReader::advance(before->lastTime, 1) : 0});
}

// Its block may take the place of none in memory.
bool TransitionBlockStore::isSound(const BTreeElem& leaf)
{
    DataBlockInfo block = leaf;
    std::vector<std::uint64_t> words;
    const std::size_t bytes = blockBytes(leaf.flags, leaf.count);
    if (!block.data && bytes != 0) {
        words.resize(bytes / sizeof words[0] + 1);
        block.data = reinterpret_cast<std::uint32_t*>(words.data());
        if (leaf.fileOffset < 0 || !openReadBackFile() ||
            m_readBackFile.readAt(leaf.fileOffset, reinterpret_cast<char*>(words.data()), bytes) !=
                bytes) {
            return false;
        }
    }
    return fitTogether(block);
}

void TransitionBlockStore::checkStart(BTreeElem& root)
{
    if (m_mode != DataBaseMode::Viewer) {
        return;
    }
    BTreeElem* leaf = &root;
    while (!leaf->isLeaf()) {
        leaf = leaf->children->front();
    }
    const Lease lease(*this, *leaf);
}

} // namespace Tracewell
