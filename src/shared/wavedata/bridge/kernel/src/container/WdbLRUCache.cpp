// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLRUCache.h"

#include <algorithm>
#include <cstdlib>

namespace Tracewell {

WdbLRUCache::WdbLRUCache(unsigned long long capacity) : m_capacity(std::max(capacity, 1ull)) {}

WdbLRUCache::~WdbLRUCache()
{
    reset();
}

void* WdbLRUCache::get(long long handle) const
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        return nullptr;
    }
    touch(found->second);
    return found->second.m_data;
}

void WdbLRUCache::add(long long handle, void* data, unsigned long long size)
{
    if (m_items.size() >= m_capacity) {
        evict();
    }
    m_recency.push_back(handle);
    m_items.emplace(handle, LRUDataItem{data, size, std::prev(m_recency.end())});
}

// A handle may stand in the list twice, see add; its entry goes with the older place.
void WdbLRUCache::evict()
{
    while (!m_recency.empty()) {
        const auto oldest = m_items.find(m_recency.front());
        m_recency.pop_front();
        if (oldest == m_items.end()) {
            continue;
        }
        std::free(oldest->second.m_data);
        m_items.erase(oldest);
        return;
    }
}

void WdbLRUCache::put(long long handle, void* data)
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        return;
    }
    std::free(found->second.m_data);
    found->second.m_data = data;
    touch(found->second);
}

void WdbLRUCache::remove(long long handle)
{
    const auto found = m_items.find(handle);
    if (found == m_items.end()) {
        return;
    }
    std::free(found->second.m_data);
    m_recency.erase(found->second.m_place);
    m_items.erase(found);
}

void WdbLRUCache::reset()
{
    for (const auto& item : m_items) {
        std::free(item.second.m_data);
    }
    m_items.clear();
    m_recency.clear();
}

unsigned long long WdbLRUCache::getSize(long long handle) const
{
    const auto found = m_items.find(handle);
    return found == m_items.end() ? 0 : found->second.m_size;
}

void WdbLRUCache::touch(LRUDataItem& item) const
{
    m_recency.splice(m_recency.end(), m_recency, item.m_place);
}

} // namespace Tracewell
