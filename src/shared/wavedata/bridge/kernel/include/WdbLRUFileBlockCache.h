// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <iosfwd>
#include <list>
#include <map>
#include <memory>

namespace Tracewell {

class StorageHealth;
class WdbIBlockManager;

/// As WdbLRUCache, for blocks that may be newer than the stream: these are dirty, and are written
/// to their handle's place when they go or when the owner asks. A failed write prints one line and
/// ends the process. No lock: the owner serialises calls, `get` included.
class TRACEWELL_API WdbLRUFileBlockCache
{
public:
    struct LRUDataItem
    {
        long long m_handle;
        void* m_data;
        unsigned long long m_size;
        bool m_dirty;
        std::list<long long>::iterator m_place;
    };

    /// The stream is the caller's and must outlive the cache, and so must `owner`, if any, which
    /// breaks with the cache.
    WdbLRUFileBlockCache(std::basic_iostream<char>& stream, unsigned long long capacity,
                         const WdbIBlockManager* owner = nullptr);
    WdbLRUFileBlockCache(const WdbLRUFileBlockCache&) = delete;
    WdbLRUFileBlockCache& operator=(const WdbLRUFileBlockCache&) = delete;
    ~WdbLRUFileBlockCache();

    /// Null on a miss. The bytes stay the cache's, good until the next call that changes it.
    void* get(long long handle) const;
    /// For a handle that is not there. One that is there, and does not go for its own sake, keeps
    /// its bytes, and `data` stays the caller's.
    void add(long long handle, void* data, unsigned long long size, bool dirty);
    /// The block is dirty afterwards. One that is there keeps its size; one that is not is added.
    void put(long long handle, void* data, unsigned long long size);
    /// Writes what is dirty, in the order of the handles; everything stays.
    void flushDirtyItems();
    /// Forgets the handle, written before if it is dirty.
    void remove(long long handle);
    /// Writes what is dirty and forgets everything.
    void reset();
    /// Bytes of the block that is kept for the handle; 0 when none is.
    unsigned long long getSize(long long handle) const;
    /// Writes the item's bytes to its place in the stream.
    void saveCacheLRUItem(const LRUDataItem& item);

private:
    void touch(LRUDataItem& item) const;
    void evict();

    std::basic_iostream<char>* m_stream;
    unsigned long long m_capacity;
    /// Null where an owner gave its own.
    const std::unique_ptr<StorageHealth> m_health;
    const WdbIBlockManager* m_owner;
    /// The oldest at the front.
    mutable std::list<long long> m_recency;
    mutable std::map<long long, LRUDataItem> m_items;
};

} // namespace Tracewell
