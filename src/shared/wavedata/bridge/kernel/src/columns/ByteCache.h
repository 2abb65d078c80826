// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <utility>

namespace Tracewell {

/// What was read last, as long as it takes no more than so many bytes together. What somebody still
/// holds lives on. One thread.
template <class Item> class ByteCache
{
public:
    explicit ByteCache(std::size_t mostBytes) : m_mostBytes(mostBytes) {}

    /// Null when it is not there.
    std::shared_ptr<const Item> find(std::uint64_t key)
    {
        const auto found = m_places.find(key);
        if (found == m_places.end()) {
            return nullptr;
        }
        m_entries.splice(m_entries.begin(), m_entries, found->second);
        return found->second->item;
    }
    void add(std::uint64_t key, std::shared_ptr<const Item> item, std::size_t bytes)
    {
        m_entries.push_front({key, std::move(item), bytes});
        m_places[key] = m_entries.begin();
        m_bytes += bytes;
        while (m_bytes > m_mostBytes && m_entries.size() > 1) {
            m_bytes -= m_entries.back().bytes;
            m_places.erase(m_entries.back().key);
            m_entries.pop_back();
        }
    }
    void clear()
    {
        m_entries.clear();
        m_places.clear();
        m_bytes = 0;
    }

private:
    struct Entry
    {
        std::uint64_t key;
        std::shared_ptr<const Item> item;
        std::size_t bytes;
    };

    std::size_t m_mostBytes;
    std::size_t m_bytes = 0;
    std::list<Entry> m_entries;
    std::unordered_map<std::uint64_t, typename std::list<Entry>::iterator> m_places;
};

} // namespace Tracewell
