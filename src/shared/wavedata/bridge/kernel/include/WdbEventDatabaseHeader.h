// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <type_traits>

namespace Tracewell {

/// The 72-byte record to which the "WDB.Event" section points.
struct TRACEWELL_API WdbEventDatabaseHeader
{
    /// Defaults in division, block size and node width; zero elsewhere.
    WdbEventDatabaseHeader()
        : m_bucketDivision(getBucketDivision()), m_maxEventBlockSize(getDefaultMaxEventBlockSize()),
          m_blockListNodeWidth(getDefaultBlockListNodeWidth())
    {}

    /// Addresses that share a bucket unless told otherwise.
    static unsigned int getBucketDivision() { return 2048; }
    static unsigned int getDefaultMaxEventBlockSize() { return 10240; }
    static unsigned int getDefaultBlockListNodeWidth() { return 100; }
    /// Where in the file the latest time of the header at `headerOffset` lies.
    static long long getLatestTimeFileOffset(long long headerOffset) { return headerOffset; }

    /// 0 in the file until the database's end, so a 0 tells that its writer never got there.
    long long m_latestTime = 0;
    int m_databaseTypeId = 0;
    unsigned int m_numberOfBuckets = 0;
    unsigned long long m_bucketDivision;
    unsigned long long m_addressSize = 0;
    /// Where the first-node handles of the buckets lie, 8 bytes each.
    long long m_bucketTableOffset = 0;
    long long m_reserved = 0;
    /// Number of ranges in the address map.
    long long m_addressMapSize = 0;
    long long m_addressMapFileOffset = 0;
    unsigned int m_maxEventBlockSize;
    unsigned int m_blockListNodeWidth;
};

static_assert(sizeof(WdbEventDatabaseHeader) == 72 &&
              std::is_trivially_copyable_v<WdbEventDatabaseHeader>);
static_assert(offsetof(WdbEventDatabaseHeader, m_latestTime) == 0 &&
              offsetof(WdbEventDatabaseHeader, m_databaseTypeId) == 8 &&
              offsetof(WdbEventDatabaseHeader, m_numberOfBuckets) == 12 &&
              offsetof(WdbEventDatabaseHeader, m_bucketDivision) == 16 &&
              offsetof(WdbEventDatabaseHeader, m_addressSize) == 24 &&
              offsetof(WdbEventDatabaseHeader, m_bucketTableOffset) == 32 &&
              offsetof(WdbEventDatabaseHeader, m_addressMapSize) == 48 &&
              offsetof(WdbEventDatabaseHeader, m_addressMapFileOffset) == 56 &&
              offsetof(WdbEventDatabaseHeader, m_maxEventBlockSize) == 64 &&
              offsetof(WdbEventDatabaseHeader, m_blockListNodeWidth) == 68);

} // namespace Tracewell
