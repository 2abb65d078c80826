// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <list>
#include <map>

namespace Tracewell {

/// Copies of blocks by their handle, of which the least recently used one goes when a new one
/// needs its place. The capacity counts blocks; 0 is taken as 1. Bytes come from malloc and are
/// the cache's from then on. No lock: the owner serialises calls, `get` included.
class TRACEWELL_API WdbLRUCache
{
public:
    explicit WdbLRUCache(unsigned long long capacity);
    WdbLRUCache(const WdbLRUCache&) = delete;
    WdbLRUCache& operator=(const WdbLRUCache&) = delete;
    ~WdbLRUCache();

    /// Null on a miss. The bytes stay the cache's, good until the next call that changes it.
    void* get(long long handle) const;
    /// For a handle that is not there. One that is there, and does not go for its own sake, keeps
    /// its bytes, and `data` stays the caller's. `size`, in bytes, is remembered for getSize.
    void add(long long handle, void* data, unsigned long long size = 0);
    /// Replaces the bytes of a handle that is there; otherwise nothing happens and `data` stays
    /// the caller's. A block keeps its size.
    void put(long long handle, void* data);
    /// Forgets what is kept for the handle, if anything.
    void remove(long long handle);
    /// Forgets what is kept for all handles.
    void reset();
    /// What add was given; 0 on a miss.
    unsigned long long getSize(long long handle) const;

private:
    struct LRUDataItem
    {
        void* m_data;
        unsigned long long m_size;
        std::list<long long>::iterator m_place;
    };

    void touch(LRUDataItem& item) const;
    void evict();

    unsigned long long m_capacity;
    /// The oldest at the front.
    mutable std::list<long long> m_recency;
    mutable std::map<long long, LRUDataItem> m_items;
};

} // namespace Tracewell
