#include "recording/EventMerge.h"

#include "CommandError.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

EventMerge::EventMerge(Tracewell::WdbIEventBlockDatabase& database, std::string name)
    : EventMerge(database, database.getAllEventBlockDatabaseIterator(), std::move(name))
{}

EventMerge::EventMerge(Tracewell::WdbIEventBlockDatabase& database,
                       const Tracewell::WdbIEventBlockDatabase::IteratorVector& iterators,
                       std::string name)
    : m_name(std::move(name)), m_block(database.getEventDatabaseHeader().m_maxEventBlockSize, 0)
{
    m_buckets.reserve(iterators.size());
    m_heap.reserve(iterators.size());
    for (const auto& blocks : iterators) {
        Bucket bucket;
        bucket.blocks = blocks;
        if (loadNextBlock(bucket)) {
            bucket.event.setBase(bucket.records.data());
            bucket.time = bucket.event.getTime();
            m_buckets.push_back(std::move(bucket));
            m_heap.push_back({m_buckets.back().time, &m_buckets.back()});
        }
    }
    std::make_heap(m_heap.begin(), m_heap.end());
}

const Tracewell::WdbEvent* EventMerge::next()
{
    if (m_started && !m_heap.empty()) {
        Bucket& last = *m_heap.front().bucket;
        if (!advance(last)) {
            std::pop_heap(m_heap.begin(), m_heap.end());
            m_heap.pop_back();
        } else if (last.time != m_heap.front().time) {
            std::pop_heap(m_heap.begin(), m_heap.end());
            m_heap.back().time = last.time;
            std::push_heap(m_heap.begin(), m_heap.end());
        }
    }
    m_started = true;
    return m_heap.empty() ? nullptr : &m_heap.front().bucket->event;
}

bool EventMerge::advance(Bucket& bucket)
{
    bucket.at += bucket.event.sizeofEvent();
    if (bucket.at >= bucket.records.size() && !loadNextBlock(bucket)) {
        return false;
    }
    bucket.event.setBase(bucket.records.data() + bucket.at);
    const long long time = bucket.event.getTime();
    if (time < bucket.time) {
        throw CommandError(fmt::format("{}: the events from address {} on go back in time from {} "
                                       "to {}; `tracewell verify` says more",
                                       m_name, bucket.event.getBaseAddress(), bucket.time, time));
    }
    bucket.time = time;
    return true;
}

bool EventMerge::loadNextBlock(Bucket& bucket)
{
    for (; !bucket.blocks->isEof(); ++*bucket.blocks) {
        bucket.blocks->getEventBlock(m_block);
        std::size_t size = 0;
        for (auto i = m_block.getIterator(); i; ++i) {
            size += (*i).sizeofEvent();
        }
        if (size == 0) {
            continue;
        }
        const char* records = m_block.getMemory() + Tracewell::WdbEventBlock::kHeaderSize;
        bucket.records.assign(records, records + size);
        bucket.at = 0;
        bucket.event.setBaseAddress(m_block.getBaseAddress());
        ++*bucket.blocks;
        return true;
    }
    bucket.records = {};
    return false;
}

} // namespace tracewell
