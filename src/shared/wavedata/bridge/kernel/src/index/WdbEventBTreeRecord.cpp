// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEventBTreeRecord.h"

#include "WdbIBlockManager.h"

#include <cstddef>
#include <type_traits>

namespace Tracewell {

namespace {

struct RecordImage
{
    long long m_blockOffset = 0;
    unsigned int m_blockSize = 0;
    unsigned int m_padding = 0;
    long long m_largestDiff = 0;
};

static_assert(sizeof(RecordImage) == 24 && std::is_trivially_copyable_v<RecordImage>);
static_assert(offsetof(RecordImage, m_blockSize) == 8 &&
              offsetof(RecordImage, m_largestDiff) == 16);

} // namespace

long long WdbEventBTreeRecord::addBlock(WdbIBlockManager& manager)
{
    const RecordImage image = {m_blockOffset, m_blockSize, 0, m_largestDiff};
    m_recordOffset = manager.addBlock(reinterpret_cast<const char*>(&image), sizeof image);
    m_saved = true;
    m_modified = false;
    return m_recordOffset;
}

void WdbEventBTreeRecord::getBlock(long long offset, const WdbIBlockManager& manager)
{
    RecordImage image;
    if (manager.contains(offset, sizeof image)) {
        manager.getBlock(offset, reinterpret_cast<char*>(&image), sizeof image);
    }
    if (image.m_blockSize == 0) {
        manager.noteDamage({WdbDamage::IndexRecord, offset, sizeof image});
    }
    m_blockOffset = image.m_blockOffset;
    m_blockSize = image.m_blockSize;
    m_largestDiff = image.m_largestDiff;
    m_recordOffset = offset;
    m_saved = true;
    m_modified = false;
}

void WdbEventBTreeRecord::putBlock(long long offset, WdbIBlockManager& manager)
{
    const RecordImage image = {m_blockOffset, m_blockSize, 0, m_largestDiff};
    manager.putBlock(offset, reinterpret_cast<const char*>(&image), sizeof image);
    m_modified = false;
}

void WdbEventBTreeRecord::describeBlock(const WdbEventBlock& block, long long baseAddress)
{
    *this = WdbEventBTreeRecord();
    block.getLargestDiffAndKey(baseAddress, m_largestDiff, m_key);
    m_startTime = block.getStartTime();
    setIndexLength(block.getTimeLength());
}

void WdbEventBTreeRecord::setBlockPlace(long long offset, unsigned int size)
{
    m_blockOffset = offset;
    m_blockSize = size;
}

void WdbEventBTreeRecord::setIndexLength(long long length)
{
    m_modified = m_modified || length != m_indexLength;
    m_indexLength = length;
}

} // namespace Tracewell
