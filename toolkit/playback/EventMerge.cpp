// SPDX-License-Identifier: BSD-3-Clause

#include "playback/EventMerge.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tracewell {

namespace {

/// A time may go on through so many bytes of blocks; nobody looks further ahead for damage.
constexpr std::size_t kMostAhead = 64 << 20;

} // namespace

EventMerge::EventMerge(Tracewell::WdbIEventBlockDatabase& database, std::string name)
    : m_name(std::move(name)), m_block(database.getEventDatabaseHeader().m_maxEventBlockSize, 0)
{
    start(database.getAllEventBlockDatabaseIterator());
}

EventMerge::EventMerge(Tracewell::WdbIEventBlockDatabase& database,
                       const std::optional<std::vector<long long>>& addresses,
                       const Tracewell::WdbDamageLog& log, std::string name)
    : m_name(std::move(name)), m_block(database.getEventDatabaseHeader().m_maxEventBlockSize, 0),
      m_log(&log), m_damagesSeen(log.getCount())
{
    const auto iterators = addresses ? database.getEventBlockDatabaseIterator(*addresses)
                                     : database.getAllEventBlockDatabaseIterator();
    // A bucket that does not even begin.
    if (sawDamage()) {
        m_end = -1;
    }
    start(iterators);
}

void EventMerge::start(const Tracewell::WdbIEventBlockDatabase::IteratorVector& iterators)
{
    m_buckets.reserve(iterators.size());
    for (const auto& blocks : iterators) {
        Bucket bucket;
        bucket.blocks = blocks;
        if (loadNextBlock(bucket)) {
            bucket.event.setBase(bucket.records.data());
            bucket.time = bucket.event.getTime();
            lookAhead(bucket);
            m_buckets.push_back(std::move(bucket));
            m_waiting.push(m_buckets.back().time, &m_buckets.back());
        } else if (bucket.isCut) {
            m_end = -1;
        }
    }
}

const Tracewell::WdbEvent* EventMerge::next()
{
    if (m_present != nullptr) {
        const long long time = m_present->time;
        if (!advance(*m_present)) {
            m_present = nullptr;
        } else if (m_present->time != time) {
            m_waiting.push(m_present->time, m_present);
            m_present = nullptr;
        }
    }
    if (m_present == nullptr && !m_waiting.isEmpty()) {
        m_present = m_waiting.pop().item;
    }
    return m_present == nullptr || m_present->time > m_end ? nullptr : &m_present->event;
}

bool EventMerge::advance(Bucket& bucket)
{
    bucket.at += bucket.event.sizeofEvent();
    if (bucket.at >= bucket.records.size()) {
        bucket.records.clear();
        bucket.at = 0;
        if (!loadNextBlock(bucket)) {
            bucket.records = {};
            return false;
        }
    }
    bucket.event.setBase(bucket.records.data() + bucket.at);
    const long long time = bucket.event.getTime();
    if (time < bucket.time) {
        throw Failure(fmt::format("{}: the events from address {} on go back in time from {} "
                                  "to {}; `tracewell verify` says more",
                                  m_name, bucket.event.getBaseAddress(), bucket.time, time));
    }
    bucket.time = time;
    lookAhead(bucket);
    return true;
}

/// Damage behind the last event in memory shows before any event of its time is given out.
void EventMerge::lookAhead(Bucket& bucket)
{
    while (m_log != nullptr && bucket.time == bucket.lastTime && !bucket.blocks->isEof() &&
           !bucket.isCut && bucket.records.size() < kMostAhead) {
        bucket.records.erase(bucket.records.begin(),
                             bucket.records.begin() + static_cast<std::ptrdiff_t>(bucket.at));
        bucket.at = 0;
        loadNextBlock(bucket);
        bucket.event.setBase(bucket.records.data());
    }
    if (bucket.isCut && bucket.time == bucket.lastTime) {
        m_end = std::min(m_end, std::max(bucket.lastTime, 0LL) - 1);
    }
}

/// Appends the events of the next block that has some to those in memory.
bool EventMerge::loadNextBlock(Bucket& bucket)
{
    while (!bucket.isCut && !bucket.blocks->isEof()) {
        bucket.blocks->getEventBlock(m_block);
        if (sawDamage()) {
            bucket.isCut = true;
            return false;
        }
        std::size_t size = 0;
        long long last = 0;
        for (auto i = m_block.getIterator(); i; ++i) {
            size += (*i).sizeofEvent();
            last = (*i).getTime();
        }
        const char* records = m_block.getMemory() + Tracewell::WdbEventBlock::kHeaderSize;
        bucket.records.insert(bucket.records.end(), records, records + size);
        bucket.event.setBaseAddress(m_block.getBaseAddress());
        ++*bucket.blocks;
        bucket.isCut = sawDamage();
        if (size != 0) {
            bucket.lastTime = last;
            return true;
        }
    }
    return false;
}

bool EventMerge::sawDamage()
{
    const unsigned long long count = m_log != nullptr ? m_log->getCount() : m_damagesSeen;
    return std::exchange(m_damagesSeen, count) != count;
}

} // namespace tracewell
