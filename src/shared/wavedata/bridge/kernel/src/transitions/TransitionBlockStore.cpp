#include "TransitionBlockStore.h"

#include "BlockCodec.h"
#include "DiskLayout.h"

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include <algorithm>
#include <cstring>

namespace Tracewell {

TransitionBlockStore::TransitionBlockStore(DataBaseMode mode, const std::string& fileName,
                                           const DataBaseLimits& limits, WdbDamageLog& damage)
    : m_mode(mode), m_fileName(fileName), m_damage(damage),
      m_blockPool(limits.blockBytes, limits.minBlocksPerSize),
      m_readBackPool(
          mode == DataBaseMode::StoringReader
              ? std::make_unique<TransitionPool>(limits.readBackBytes, limits.minBlocksPerSize)
              : nullptr)
{}

std::uint32_t* TransitionBlockStore::allocate(BTreeElem& leaf, std::size_t bytes)
{
    const boost::lock_guard<boost::mutex> lock(m_mutex);
    ListNode* const node = m_blockPool.allocate(bytes);
    takeOver(*node, leaf);
    return leaf.data;
}

// The former owner can have its data elsewhere by now, or nowhere: written blocks keep their node.
void TransitionBlockStore::takeOver(ListNode& node, BTreeElem& leaf)
{
    auto* const former = static_cast<BTreeElem*>(node.owner);
    if (former && former->data == node.data)
        writeOneBlock(*former);
    node.owner = &leaf;
    leaf.data = node.data;
}

void TransitionBlockStore::writeTree(BTreeElem& root)
{
    if (!root.isLeaf()) {
        for (BTreeElem* const child : *root.children)
            writeTree(*child);
        return;
    }
    const boost::lock_guard<boost::mutex> lock(m_mutex);
    if (root.fileOffset < 0)
        writeOneBlock(root);
}

void TransitionBlockStore::reset()
{
    const boost::lock_guard<boost::mutex> lock(m_mutex);
    m_blockPool.reset();
    if (m_readBackPool)
        m_readBackPool->reset();
    m_readBackFile.close();
}

bool TransitionBlockStore::openForWriting()
{
    if (m_file.isOpen())
        return true;
    const bool isReader = m_mode == DataBaseMode::StoringReader;
    if (!m_file.open(m_fileName, isReader ? FileIO::ReadWrite : FileIO::Write))
        return false;
    // That mode empties nothing, and debug data goes to the end of the file.
    boost::system::error_code ignored;
    if (isReader)
        boost::filesystem::resize_file(m_fileName, 0, ignored);
    return m_file.setOffset(DataBaseFileHeader::kBytes);
}

bool TransitionBlockStore::openForReading()
{
    return m_readBackFile.isOpen() || m_readBackFile.open(m_fileName, DescriptorFile::Mode::Read);
}

// Drops the block from memory once the file has it. One that was read back is there already.
void TransitionBlockStore::writeOneBlock(BTreeElem& leaf)
{
    if (!leaf.data)
        return;
    if (leaf.fileOffset < 0 && openForWriting()) {
        leaf.fileOffset = m_file.getOffset();
        const auto bytes = static_cast<unsigned int>(blockBytes(leaf.flags, leaf.count));
        if (!m_file.writeData(leaf.data, bytes) && m_failureHook)
            m_failureHook();
    }
    leaf.data = nullptr;
}

void TransitionBlockStore::fetch(BTreeElem& leaf)
{
    if (leaf.data)
        return;
    const std::size_t bytes = blockBytes(leaf.flags, leaf.count);
    bool isRead = true;
    if (bytes != 0) {
        ListNode* const node = readBackPool().allocate(bytes);
        takeOver(*node, leaf);
        isRead = leaf.fileOffset >= 0 && openForReading() &&
                 m_readBackFile.readAt(leaf.fileOffset, reinterpret_cast<char*>(leaf.data),
                                       bytes) == bytes;
        if (!isRead)
            std::memset(leaf.data, 0, bytes);
    }
    if (m_mode == DataBaseMode::Viewer)
        checkFetched(leaf, isRead);
}

// Of the times in the leaf and the gaps in the block, one alone may be damaged; before the earlier
// one of the two starts that they give, all is as it was.
void TransitionBlockStore::checkFetched(const BTreeElem& leaf, bool isRead) const
{
    const GapSum gaps = addGaps(leaf);
    const long long length = BlockReader::advance(leaf.lastTime, -leaf.firstTime);
    if (isRead && gaps.isAscending && gaps.sum == length && gaps.largest <= leaf.largestDiff)
        return;
    const long long start =
        gaps.isAscending ? std::min(leaf.firstTime, BlockReader::advance(leaf.lastTime, -gaps.sum))
                         : leaf.firstTime;
    m_damage.note({WdbDamage::TransitionBlock, leaf.fileOffset, blockBytes(leaf.flags, leaf.count),
                   -1, false, true, start});
}

} // namespace Tracewell
