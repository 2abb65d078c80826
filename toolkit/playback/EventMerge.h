// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TimeMerge.h"
#include "WdbDamageLog.h"
#include "WdbEventBlock.h"
#include "WdbIEventBlockDatabase.h"

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// Walks all events of a recording in the order of time. Events of one time come in the order in
/// which they were stored as far as they share an address. Keeps one block's events of each bucket
/// in memory, and two where a time goes on from one to the next.
class EventMerge
{
public:
    /// Of all buckets. `name` stands for the recording in messages.
    EventMerge(Tracewell::WdbIEventBlockDatabase& database, std::string name);
    /// Of the buckets with these addresses; of all, if there is no list. `log` is that of the file.
    EventMerge(Tracewell::WdbIEventBlockDatabase& database,
               const std::optional<std::vector<long long>>& addresses,
               const Tracewell::WdbDamageLog& log, std::string name);

    /// The next event, valid until the next call; null at the end, and behind whole times.
    /// \throws Failure when a bucket's events are not in the order of time.
    const Tracewell::WdbEvent* next();
    /// Where damage ends the walk: all of this time and before is whole. As far as the walk came.
    long long end() const { return m_end; }

private:
    struct Bucket
    {
        std::shared_ptr<Tracewell::WdbIEventBlockIterator> blocks;
        std::vector<char> records;
        std::size_t at = 0;
        long long time = 0;
        /// The latest of the events in memory.
        long long lastTime = 0;
        /// Damage follows what is in memory.
        bool isCut = false;
        Tracewell::WdbEvent event;
    };

    void start(const Tracewell::WdbIEventBlockDatabase::IteratorVector& iterators);
    /// Brings the bucket to its next event; false when it has none.
    bool advance(Bucket& bucket);
    bool loadNextBlock(Bucket& bucket);
    void lookAhead(Bucket& bucket);
    /// Whether damage was met since the last call.
    bool sawDamage();

    std::string m_name;
    Tracewell::WdbEventBlock m_block;
    std::vector<Bucket> m_buckets;
    /// The buckets that still have events, but for the one at hand.
    Tracewell::TimeMerge<Bucket*> m_waiting;
    /// Whose event was given out last; null before the first and behind the last.
    Bucket* m_present = nullptr;
    /// Null where nobody asks about damage.
    const Tracewell::WdbDamageLog* m_log = nullptr;
    unsigned long long m_damagesSeen = 0;
    long long m_end = std::numeric_limits<long long>::max();
};

} // namespace tracewell
