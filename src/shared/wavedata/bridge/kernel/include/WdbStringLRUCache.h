// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <list>
#include <string>
#include <unordered_map>

namespace Tracewell {

/// Texts by id, bounded: the least recently used one goes first.
class TRACEWELL_API WdbStringLRUCache
{
public:
    explicit WdbStringLRUCache(unsigned long long capacity);
    WdbStringLRUCache(const WdbStringLRUCache&) = delete;
    WdbStringLRUCache& operator=(const WdbStringLRUCache&) = delete;

    /// At capacity the oldest entry makes room.
    void add(long long id, const std::string& text);
    /// Copies the text out and makes it the most recent; false when it is not there.
    bool get(long long id, std::string& text) const;
    /// Keeps the text, in the place of what the id had.
    void put(long long id, const std::string& text);
    void reset();
    /// To the standard output, the oldest first.
    void print() const;

private:
    struct Entry
    {
        std::string text;
        std::list<long long>::iterator place;
    };

    unsigned long long m_capacity;
    /// Ids, the most recent last. A lookup reorders it.
    mutable std::list<long long> m_recency;
    std::unordered_map<long long, Entry> m_entries;
};

} // namespace Tracewell
