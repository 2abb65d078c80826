// SPDX-License-Identifier: BSD-3-Clause

#include "ColumnStore.h"

#include "platform/SignalMask.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Tracewell {

namespace {

constexpr long long kNoTime = std::numeric_limits<long long>::min();
constexpr long long kClosed = std::numeric_limits<long long>::max();

} // namespace

ColumnStore::ColumnStore(WdbFileManager& file, const FieldRuns& fields,
                         std::function<void()> storeTexts)
    : m_storeTexts(std::move(storeTexts)), m_time(kNoTime), m_latestTime(kNoTime),
      m_fieldCount(fields.count()), m_encoder(fields), m_file(file, fields)
{
    m_log->clear(m_fieldCount);
    const SignalMask mask;
    m_thread = std::thread([this] { work(); });
}

ColumnStore::~ColumnStore()
{
    if (m_thread.joinable()) {
        waitForHelper();
        give(Order::Stop, kNoTime);
        m_thread.join();
    }
}

void ColumnStore::stepTime(long long time)
{
    if (time > m_time && m_log->changeCount >= kGoodChanges) {
        // All of the last change's time is there.
        handOver(m_time);
    }
    m_time = std::max({m_time, time, kNoTime + 1});
    m_latestTime = std::max(m_latestTime, m_time);
    if (m_log->timeCount == 0 || m_log->times[m_log->timeCount - 1] != m_time) {
        m_log->times[m_log->timeCount++] = m_time;
    }
}

/// The log becomes a segment, and the other one takes changes.
void ColumnStore::handOver(long long wholeTime)
{
    waitForHelper();
    m_storeTexts();
    give(Order::Full, wholeTime);
    m_fieldCount += m_log->newFields.count();
    m_log = m_log == &m_logs[0] ? &m_logs[1] : &m_logs[0];
    m_log->clear(m_fieldCount);
}

void ColumnStore::sync()
{
    waitForHelper();
    m_storeTexts();
    give(Order::Short, m_latestTime == kNoTime ? kNoTime : m_latestTime - 1);
    waitForHelper();
}

void ColumnStore::close()
{
    waitForHelper();
    give(Order::Full, kClosed);
    waitForHelper();
}

void ColumnStore::give(Order order, long long wholeTime)
{
    const MutexLock lock(m_mutex);
    m_order = order;
    m_ordered = m_log;
    m_reached = {wholeTime, m_latestTime};
    m_changed.notify_all();
}

void ColumnStore::waitForHelper()
{
    MutexLock lock(m_mutex);
    while (m_order != Order::None) {
        lock.wait(m_changed);
    }
}

void ColumnStore::work()
{
    for (;;) {
        Order order = Order::None;
        const ChangeLog* log = nullptr;
        SegmentFile::Reached reached{};
        {
            MutexLock lock(m_mutex);
            while (m_order == Order::None) {
                lock.wait(m_changed);
            }
            order = m_order;
            log = m_ordered;
            reached = m_reached;
        }
        if (order == Order::Stop) {
            return;
        }
        makeSegment(order, *log, reached);
        MutexLock lock(m_mutex);
        m_order = Order::None;
        m_changed.notify_all();
    }
}

/// A short segment takes those before it in that are not much longer than itself, so that there are
/// few of them however often somebody syncs, and each change is encoded few times.
void ColumnStore::makeSegment(Order order, const ChangeLog& log,
                              const SegmentFile::Reached& reached)
{
    SegmentRecord record{};
    SegmentEncoder::Stretch stretch{0, log.changeCount, 0, log.newFields.count()};
    if (order == Order::Full) {
        m_shorts.clear();
        const Bytes* const segment =
            stretch.endChange > 0 ? &m_encoder.encode(log, stretch, record, &m_digest) : nullptr;
        if (m_digest.segments() == kSegmentsOfDigest ||
            (reached.wholeTime == kClosed && m_digest.segments() > 1)) {
            m_file.addDigest(m_digest);
        }
        return segment != nullptr ? m_file.addFull(*segment, record, reached)
                                  : m_file.setReached(reached);
    }
    if (!m_shorts.empty()) {
        stretch.beginChange = m_shorts.back().endChange;
        stretch.beginField = m_shorts.back().endField;
    }
    if (stretch.beginChange == stretch.endChange) {
        return m_file.setReached(reached);
    }
    std::size_t replaced = 0;
    while (!m_shorts.empty() && m_shorts.back().endChange - m_shorts.back().beginChange <=
                                    2 * (stretch.endChange - stretch.beginChange)) {
        stretch.beginChange = m_shorts.back().beginChange;
        stretch.beginField = m_shorts.back().beginField;
        m_shorts.pop_back();
        ++replaced;
    }
    m_shorts.push_back(stretch);
    m_file.addShort(m_encoder.encode(log, stretch, record), record, replaced, reached);
}

} // namespace Tracewell
