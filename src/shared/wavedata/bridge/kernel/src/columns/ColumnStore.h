// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ChangeLog.h"
#include "SegmentEncoder.h"
#include "SegmentFile.h"
#include "ThreadSafety.h"

#include <array>
#include <condition_variable>
#include <functional>
#include <thread>
#include <vector>

namespace Tracewell {

/// Takes changes in and has a thread of its own make segments of them. All but the thread's part is
/// for one thread at a time.
class ColumnStore
{
public:
    /// `fields` are those that were declared. The file outlives the store. `storeTexts` is called
    /// before changes go to the file, but by close(), so that they find the texts that they name.
    ColumnStore(WdbFileManager& file, const FieldRuns& fields, std::function<void()> storeTexts);
    ColumnStore(const ColumnStore&) = delete;
    ColumnStore& operator=(const ColumnStore&) = delete;
    /// Without close(), what was not synced is lost.
    ~ColumnStore();

    /// A time before the one of the last change counts as that one.
    void append(long long time, std::uint32_t field, std::uint64_t value)
    {
        if (time != m_time || m_log->timeCount == 0) {
            stepTime(time);
        }
        const std::uint32_t index = m_log->changeCount++;
        m_log->changes[index] = {field, m_log->timeCount - 1, value};
        if (index + 1 == kMostChanges) {
            // More may come at this time.
            handOver(m_time - 1);
        }
    }
    /// Of the first change of a field that is to be appended.
    void addField(const FieldRuns::Field& field)
    {
        m_log->newFields.add(field.address, field.size, field.isCounter);
    }
    void setLatestTime(long long time) { m_latestTime = std::max(m_latestTime, time); }
    long long getLatestTime() const { return m_latestTime; }

    /// Everything is in the file when it returns, unless storage broke.
    void sync();
    void close();

private:
    enum class Order { None, Short, Full, Stop };

    void stepTime(long long time);
    void handOver(long long wholeTime);
    void give(Order order, long long wholeTime);
    void waitForHelper();
    void work();
    void makeSegment(Order order, const ChangeLog& log, const SegmentFile::Reached& reached);

    std::function<void()> m_storeTexts;
    std::array<ChangeLog, 2> m_logs;
    /// The one that takes changes.
    ChangeLog* m_log = &m_logs[0];
    /// When the last change took place.
    long long m_time;
    long long m_latestTime;
    std::uint32_t m_fieldCount;

    /// The thread's, but while it has an order nobody else touches them.
    SegmentEncoder m_encoder;
    SegmentFile m_file;
    DigestBuilder m_digest;
    /// Where in its log each short segment of the file begins and ends.
    std::vector<SegmentEncoder::Stretch> m_shorts;

    Mutex m_mutex;
    std::condition_variable m_changed;
    Order m_order TRACEWELL_GUARDED_BY(m_mutex) = Order::None;
    const ChangeLog* m_ordered TRACEWELL_GUARDED_BY(m_mutex) = nullptr;
    SegmentFile::Reached m_reached TRACEWELL_GUARDED_BY(m_mutex){};
    std::thread m_thread;
};

} // namespace Tracewell
