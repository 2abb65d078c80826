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

    void add(long long id, const std::string& text);
    /// Copies the text out and makes it the most recent; false when it is not there.
    bool get(long long id, std::string& text) const;
    /// Replaces or adds.
    void put(long long id, const std::string& text);
    void reset();
    void print() const;

private:
    struct Entry
    {
        std::string text;
        std::list<long long>::iterator place;
    };

    unsigned long long m_capacity;
    mutable std::list<long long> m_recency;
    mutable std::unordered_map<long long, Entry> m_entries;
};

} // namespace Tracewell
