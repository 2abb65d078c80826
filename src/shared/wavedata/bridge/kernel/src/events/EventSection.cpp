// SPDX-License-Identifier: BSD-3-Clause

#include "EventSection.h"

#include "QsimException.h"
#include "WdbBucketFileOffsetTable.h"

namespace Tracewell {

namespace {

/// Room for a record of any time and address; nobody writes blocks this small.
constexpr unsigned int kSmallestBlockSize = 64;
constexpr unsigned int kLargestBlockSize = 256u << 20;
/// Blocks up to this size are not held against the length of the file.
constexpr unsigned int kModestBlockSize = 64u << 10;
/// No zlib stream grows by more than this.
constexpr unsigned int kLargestExpansion = 1032;

bool isBlockSizeExplained(const WdbIBlockManager& manager, unsigned int size, bool forWriting)
{
    if (size < kSmallestBlockSize || size > kLargestBlockSize) {
        return false;
    }
    return forWriting || size <= kModestBlockSize || manager.contains(0, size / kLargestExpansion);
}

} // namespace

void throwDamagedSection(const char* message)
{
    throw Qsim::OpenException("QSim", __FILE__, "", __LINE__, message);
}

WdbEventDatabaseHeader readEventDatabaseHeader(const WdbIBlockManager& manager, long long offset,
                                               bool forWriting)
{
    WdbEventDatabaseHeader header;
    if (!manager.contains(offset, sizeof header)) {
        throwDamagedSection("The event section of the wave database lies outside the file.");
    }
    manager.getBlock(offset, reinterpret_cast<char*>(&header), sizeof header);

    const unsigned long long tableSize =
        WdbBucketFileOffsetTable::getSize(header.m_numberOfBuckets);
    if (tableSize > 0 && !manager.contains(header.m_bucketTableOffset, tableSize)) {
        throwDamagedSection("The bucket table of the wave database lies outside the file.");
    }
    if (!isBlockSizeExplained(manager, header.m_maxEventBlockSize, forWriting)) {
        throwDamagedSection("The event block size of the wave database is damaged.");
    }
    // The latest time comes there at the end.
    if (header.m_latestTime == 0 && manager.getDamageLog()) {
        manager.getDamageLog()->setNeverClosed();
    }
    return header;
}

void writeEventDatabaseHeader(WdbIBlockManager& manager, long long offset,
                              const WdbEventDatabaseHeader& header)
{
    manager.putBlock(offset, reinterpret_cast<const char*>(&header), sizeof header);
}

void writeLatestTime(WdbIBlockManager& manager, long long headerOffset, long long time)
{
    manager.putBlock(WdbEventDatabaseHeader::getLatestTimeFileOffset(headerOffset),
                     reinterpret_cast<const char*>(&time), sizeof time);
}

} // namespace Tracewell
