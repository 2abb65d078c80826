// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStringLRUCache.h"

#include <iostream>

namespace Tracewell {

WdbStringLRUCache::WdbStringLRUCache(unsigned long long capacity) : m_capacity(capacity) {}

void WdbStringLRUCache::add(long long id, const std::string& text)
{
    put(id, text);
}

bool WdbStringLRUCache::get(long long id, std::string& text) const
{
    const auto found = m_entries.find(id);
    if (found == m_entries.end()) {
        return false;
    }
    m_recency.splice(m_recency.end(), m_recency, found->second.place);
    text = found->second.text;
    return true;
}

void WdbStringLRUCache::put(long long id, const std::string& text)
{
    const auto found = m_entries.find(id);
    if (found != m_entries.end()) {
        m_recency.splice(m_recency.end(), m_recency, found->second.place);
        found->second.text = text;
        return;
    }
    if (m_capacity == 0) {
        return;
    }
    if (m_entries.size() >= m_capacity) {
        m_entries.erase(m_recency.front());
        m_recency.pop_front();
    }
    m_entries.emplace(id, Entry{text, m_recency.insert(m_recency.end(), id)});
}

void WdbStringLRUCache::reset()
{
    m_entries.clear();
    m_recency.clear();
}

void WdbStringLRUCache::print() const
{
    for (const long long id : m_recency) {
        std::cout << id << " : " << m_entries.at(id).text << '\n';
    }
}

} // namespace Tracewell
