#pragma once

#include "WdbEventBlock.h"
#include "WdbIEventBlockDatabase.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Walks all events of a recording in the order of time. Events of one time come in the order in
/// which they were stored as far as they share an address. Keeps one block's events of each bucket
/// in memory.
class EventMerge
{
public:
    /// Of all buckets. `name` stands for the recording in messages.
    EventMerge(Tracewell::WdbIEventBlockDatabase& database, std::string name);
    /// Of the buckets that these iterators walk.
    EventMerge(Tracewell::WdbIEventBlockDatabase& database,
               const Tracewell::WdbIEventBlockDatabase::IteratorVector& iterators,
               std::string name);

    /// The next event, valid until the next call; null at the end.
    /// \throws CommandError when a bucket's events are not in the order of time.
    const Tracewell::WdbEvent* next();

private:
    struct Bucket
    {
        std::shared_ptr<Tracewell::WdbIEventBlockIterator> blocks;
        std::vector<char> records;
        std::size_t at = 0;
        long long time = 0;
        Tracewell::WdbEvent event;
    };

    /// A bucket that still has events, with the time of the next.
    struct Waiting
    {
        long long time;
        Bucket* bucket;

        bool operator<(const Waiting& other) const { return time > other.time; }
    };

    /// Brings the bucket to its next event; false when it has none.
    bool advance(Bucket& bucket);
    bool loadNextBlock(Bucket& bucket);

    std::string m_name;
    Tracewell::WdbEventBlock m_block;
    std::vector<Bucket> m_buckets;
    /// A heap, the earliest in front.
    std::vector<Waiting> m_heap;
    bool m_started = false;
};

} // namespace tracewell
