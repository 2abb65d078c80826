#pragma once

#include "TracewellExport.h"

#include <type_traits>

namespace Tracewell {

/// The 72-byte record to which the "WDB.Event" section points.
struct TRACEWELL_API WdbEventDatabaseHeader
{
    /// Defaults in division, block size and node width; zero elsewhere.
    WdbEventDatabaseHeader();

    /// Addresses a bucket, 2,048.
    static unsigned int getBucketDivision() { return 2048; }
    static unsigned int getDefaultMaxEventBlockSize() { return 10240; }
    static unsigned int getDefaultBlockListNodeWidth() { return 100; }
    /// Where in the file the latest time of the header at `headerOffset` lies.
    static long long getLatestTimeFileOffset(long long headerOffset) { return headerOffset; }

    long long m_latestTime;
    int m_databaseTypeId;
    unsigned int m_numberOfBuckets;
    unsigned long long m_bucketDivision;
    unsigned long long m_addressSize;
    long long m_bucketTableOffset;
    long long m_reserved;
    /// Number of ranges in the address map.
    long long m_addressMapSize;
    long long m_addressMapFileOffset;
    unsigned int m_maxEventBlockSize;
    unsigned int m_blockListNodeWidth;
};

static_assert(sizeof(WdbEventDatabaseHeader) == 72 &&
              std::is_trivially_copyable_v<WdbEventDatabaseHeader>);

} // namespace Tracewell
