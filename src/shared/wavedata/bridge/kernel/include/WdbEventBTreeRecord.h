// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbEventBlock.h"

namespace Tracewell {

class WdbIBlockManager;

/// What the index by time knows of one stored event block. Where the block lies and its largest
/// diff are stored as a block of 24 bytes; the rest stands in the index node.
class TRACEWELL_API WdbEventBTreeRecord
{
public:
    /// The distance from the block's start time to that of the next block of the bucket; negative
    /// where time goes back.
    long long getIndexLength() const { return m_indexLength; }
    /// WdbEventBlock::kKeySize bytes: the addresses that change in the block.
    const unsigned char* getKey() const { return m_key; }
    long long getLargestDiff() const { return m_largestDiff; }
    bool isModified() const { return m_modified; }
    /// Stores the 24 bytes at a new place, remembers it, and answers it.
    long long addBlock(WdbIBlockManager& manager);
    /// Reads the 24 bytes that are stored at `offset`; all zero when they are not in the storage.
    void getBlock(long long offset, const WdbIBlockManager& manager);
    /// Overwrites the 24 bytes at `offset`.
    void putBlock(long long offset, WdbIBlockManager& manager);

    long long getBlockOffset() const { return m_blockOffset; }
    unsigned int getBlockSize() const { return m_blockSize; }
    long long getStartTime() const { return m_startTime; }
    /// Where the 24 bytes lie, once they are stored.
    long long getRecordOffset() const { return m_recordOffset; }
    bool isSaved() const { return m_saved; }

    /// Describes a filled block, whose place is set when it is stored. Its index length is its own
    /// time length for now.
    /// \throws std::out_of_range as WdbEventBlock::getLargestDiffAndKey
    void describeBlock(const WdbEventBlock& block, long long baseAddress);
    void setBlockPlace(long long offset, unsigned int size);
    void setIndexLength(long long length);

private:
    long long m_blockOffset = 0;
    unsigned int m_blockSize = 0;
    long long m_largestDiff = 0;
    long long m_indexLength = 0;
    long long m_startTime = 0;
    unsigned char m_key[WdbEventBlock::kKeySize] = {};
    long long m_recordOffset = 0;
    bool m_saved = false;
    bool m_modified = false;
};

} // namespace Tracewell
