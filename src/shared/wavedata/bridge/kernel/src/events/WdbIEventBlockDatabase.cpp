// SPDX-License-Identifier: BSD-3-Clause

#include "WdbIEventBlockDatabase.h"

#include "EventSection.h"
#include "WdbBucketFileOffsetTable.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <limits>
#include <string>

namespace Tracewell {

namespace {

const std::string kSectionId = "WDB.Event";
constexpr unsigned int kSectionVersion = 1;

unsigned int divisionOrDefault(unsigned int division)
{
    return division != 0 ? division : WdbEventDatabaseHeader::getBucketDivision();
}

} // namespace

WdbIEventBlockIterator::~WdbIEventBlockIterator() = default;
WdbIEventBlockDatabase::~WdbIEventBlockDatabase() = default;

unsigned int WdbIEventBlockDatabase::calculateNumberOfBucket(unsigned long long addressSize)
{
    return calculateNumberOfBucket(addressSize, WdbEventDatabaseHeader::getBucketDivision());
}

unsigned int WdbIEventBlockDatabase::calculateNumberOfBucket(unsigned long long addressSize,
                                                             unsigned int division)
{
    const unsigned int addresses = divisionOrDefault(division);
    const unsigned long long buckets =
        addressSize / addresses + (addressSize % addresses != 0 ? 1 : 0);
    constexpr unsigned long long kMost = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::min(buckets, kMost));
}

long long WdbIEventBlockDatabase::createEventSection(int typeId, unsigned int numberOfBuckets,
                                                     unsigned long long addressSize,
                                                     unsigned int division,
                                                     WdbFileManager& fileManager)
{
    WdbIBlockManager& blocks = fileManager.getFileBlockManager();
    const CheckedLock<boost::recursive_mutex> lock(blocks.getMutex());

    WdbEventDatabaseHeader header;
    header.m_bucketTableOffset = WdbBucketFileOffsetTable(numberOfBuckets).addBlock(blocks);
    header.m_databaseTypeId = typeId;
    header.m_numberOfBuckets = numberOfBuckets;
    header.m_bucketDivision = divisionOrDefault(division);
    header.m_addressSize = addressSize;
    const long long offset = blocks.addBlock(reinterpret_cast<const char*>(&header), sizeof header);
    fileManager.addNewSection(kSectionId, kSectionVersion, offset, sizeof header);
    return offset;
}

long long WdbIEventBlockDatabase::createEventSection(int typeId, unsigned int numberOfBuckets,
                                                     unsigned long long addressSize,
                                                     WdbFileManager& fileManager)
{
    return createEventSection(typeId, numberOfBuckets, addressSize,
                              WdbEventDatabaseHeader::getBucketDivision(), fileManager);
}

long long WdbIEventBlockDatabase::getEventSection(WdbFileManager& fileManager)
{
    return fileManager.getSectionFileOffset(kSectionId, kSectionVersion);
}

int WdbIEventBlockDatabase::getEventDatabaseTypeId(WdbFileManager& fileManager)
{
    const long long offset = getEventSection(fileManager);
    const WdbIBlockManager& blocks = fileManager.getFileBlockManager();
    WdbEventDatabaseHeader header;
    if (!blocks.contains(offset, sizeof header)) {
        throwDamagedSection("The event section of the wave database lies outside the file.");
    }
    blocks.getBlock(offset, reinterpret_cast<char*>(&header), sizeof header);
    return header.m_databaseTypeId;
}

} // namespace Tracewell
