// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLRUFileBlockCache.h"

#include "FatalError.h"
#include "StreamBlocks.h"
#include "WdbIBlockManager.h"

#include <algorithm>
#include <cstdlib>

namespace Tracewell {

WdbLRUFileBlockCache::WdbLRUFileBlockCache(std::basic_iostream<char>& stream,
                                           unsigned long long capacity,
                                           const WdbIBlockManager* owner)
    : m_stream(&stream), m_capacity(std::max(capacity, 1ull)),
      m_health(owner ? nullptr : std::make_unique<StorageHealth>()), m_owner(owner)
{}

WdbLRUFileBlockCache::~WdbLRUFileBlockCache()
{
    reset();
}

void* WdbLRUFileBlockCache::get(long long handle) const
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        return nullptr;
    }
    touch(found->second);
    return found->second.m_data;
}

void WdbLRUFileBlockCache::add(long long handle, void* data, unsigned long long size, bool dirty)
{
    if (m_items.size() >= m_capacity) {
        evict();
    }
    m_recency.push_back(handle);
    m_items.emplace(handle, LRUDataItem{handle, data, size, dirty, std::prev(m_recency.end())});
}

// A handle may stand in the list twice, see add; its entry goes with the older place.
void WdbLRUFileBlockCache::evict()
{
    while (!m_recency.empty()) {
        const auto oldest = m_items.find(m_recency.front());
        m_recency.pop_front();
        if (oldest == m_items.end()) {
            continue;
        }
        if (oldest->second.m_dirty) {
            saveCacheLRUItem(oldest->second);
        }
        std::free(oldest->second.m_data);
        m_items.erase(oldest);
        return;
    }
}

void WdbLRUFileBlockCache::put(long long handle, void* data, unsigned long long size)
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        add(handle, data, size, true);
        return;
    }
    LRUDataItem& item = found->second;
    std::free(item.m_data);
    item.m_data = data;
    item.m_dirty = true;
    touch(item);
}

void WdbLRUFileBlockCache::flushDirtyItems()
{
    for (auto& entry : m_items) {
        if (!entry.second.m_dirty) {
            continue;
        }
        saveCacheLRUItem(entry.second);
        entry.second.m_dirty = false;
    }
}

void WdbLRUFileBlockCache::remove(long long handle)
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        return;
    }
    if (found->second.m_dirty) {
        saveCacheLRUItem(found->second);
    }
    std::free(found->second.m_data);
    m_recency.erase(found->second.m_place);
    m_items.erase(found);
}

void WdbLRUFileBlockCache::reset()
{
    flushDirtyItems();
    for (const auto& entry : m_items) {
        std::free(entry.second.m_data);
    }
    m_items.clear();
    m_recency.clear();
}

unsigned long long WdbLRUFileBlockCache::getSize(long long handle) const
{
    const auto found = m_items.find(handle);
    return found == m_items.end() ? 0 : found->second.m_size;
}

void WdbLRUFileBlockCache::saveCacheLRUItem(const LRUDataItem& item)
{
    if (m_owner ? m_owner->isBroken() : m_health->isBroken()) {
        return;
    }
    try {
        writeBlock(*m_stream, item.m_handle, static_cast<const char*>(item.m_data), item.m_size);
    } catch (...) {
        static const char* const kLine =
            "WDB FATAL ERROR: failed to write LRU file block cache for the following reason: ";
        if (m_owner) {
            m_owner->breakDown(kLine);
        } else {
            m_health->breakDown(kLine);
        }
    }
}

void WdbLRUFileBlockCache::touch(LRUDataItem& item) const
{
    m_recency.splice(m_recency.end(), m_recency, item.m_place);
}

} // namespace Tracewell
