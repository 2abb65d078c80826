// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Tracewell {

/// The handles of the buckets' first list nodes as they lie in the file, an i64 each; 0 for a
/// bucket that was never written.
class WdbBucketFileOffsetTable
{
public:
    /// A table of buckets that have no node yet.
    explicit WdbBucketFileOffsetTable(unsigned int bucketCount) : m_firstNodes(bucketCount) {}

    /// Stores the table and answers its offset.
    long long addBlock(WdbIBlockManager& manager) const
    {
        return manager.addBlock(reinterpret_cast<const char*>(m_firstNodes.data()),
                                getSize(m_firstNodes.size()));
    }

    /// Bytes of a table of so many buckets.
    static unsigned long long getSize(unsigned long long bucketCount)
    {
        return bucketCount * sizeof(long long);
    }
    static long long getEntryOffset(long long tableOffset, unsigned int bucket)
    {
        return tableOffset + static_cast<long long>(getSize(bucket));
    }

    /// Calls `visit(bucket, firstNode)` for each bucket that the stored table has a list for.
    template <class Visit>
    static void forEachList(const WdbIBlockManager& manager, long long tableOffset,
                            unsigned int bucketCount, const Visit& visit)
    {
        std::array<long long, 512> part;
        unsigned int bucket = 0;
        while (bucket < bucketCount) {
            const unsigned int count =
                std::min(bucketCount - bucket, static_cast<unsigned int>(part.size()));
            manager.getBlock(getEntryOffset(tableOffset, bucket),
                             reinterpret_cast<char*>(part.data()), getSize(count));
            for (std::size_t i = 0; i < count; ++i, ++bucket) {
                if (part[i] != 0) {
                    visit(bucket, part[i]);
                }
            }
        }
    }

private:
    std::vector<long long> m_firstNodes;
};

} // namespace Tracewell
