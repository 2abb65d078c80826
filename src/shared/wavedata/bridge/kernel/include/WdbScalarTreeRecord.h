// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <limits>
#include <memory>

namespace Tracewell {

/// A leaf of a scalar tree: up to 2,048 pairs of a time and a byte, in the order of their times.
/// The stored form always has room for 2,048; in memory the record grows with what it holds, and
/// an empty one has no memory of its own.
///
/// `indexLength` is the stretch of time that the record covers in the index: its own length while
/// it is open, and up to the next record's first time once it is closed.
class TRACEWELL_API WdbScalarTreeRecord
{
public:
    static constexpr unsigned int kCapacity = 2048;

    /// Full at `capacity` values, which is at most kCapacity.
    explicit WdbScalarTreeRecord(unsigned int capacity = kCapacity);
    WdbScalarTreeRecord(const WdbScalarTreeRecord&) = delete;
    WdbScalarTreeRecord& operator=(const WdbScalarTreeRecord&) = delete;

    /// Appends; `time` is not below the last one. A full record takes nothing more.
    void addTimeValue(long long time, unsigned char value)
    {
        if (m_count < m_allocated || grow()) {
            append(time, value);
        }
    }
    void deleteLastValue();
    /// Overwrites the last byte; no effect on an empty record.
    void updateLastValue(unsigned char value);

    long long getIndexLength() const { return m_indexLength; }
    /// For an open record: from its first time to its last.
    void updateIndexLength() { m_indexLength = getTimeLength(); }
    /// For a record that gives way to the next one, whose first time is `nextTime`.
    void close(long long nextTime);
    /// The largest distance between neighbours. A closed record counts the next record's first
    /// time as a neighbour.
    long long getLargestDiff() const { return m_largestDiff; }
    unsigned int getNumberOfValues() const { return m_count; }
    /// 0 for an empty record, as are the times and values at or past the number of values.
    long long getStartTime() const { return getTimeAt(0); }
    long long getTimeAt(unsigned int index) const { return index < m_count ? m_times[index] : 0; }
    unsigned char getValueAt(unsigned int index) const
    {
        return index < m_count ? getValues()[index] : static_cast<unsigned char>(0);
    }
    /// The last time minus the first.
    long long getTimeLength() const;
    bool isEmpty() const { return m_count == 0; }
    bool isFull() const { return m_count >= m_capacity; }

    /// True when something changed since saved().
    bool isModified() const { return m_modified; }
    void saved() { m_modified = false; }
    /// Empties the record and keeps its memory.
    void reset();
    /// Empties the record and gives its memory back.
    void release();

    /// Times and values, getNumberOfValues() of each.
    const long long* getTimes() const { return m_times.get(); }
    const unsigned char* getValues() const
    {
        return reinterpret_cast<const unsigned char*>(m_times.get() + m_allocated);
    }

    /// True when there is a value and memory for one more, so that append may be called. One
    /// comparison: an empty record wraps round.
    bool canAppend() const { return m_count - 1U < m_allocated - 1U; }
    /// As addTimeValue(), without a look whether there is room: canAppend() has told that.
    void append(long long time, unsigned char value)
    {
        long long* const times = m_times.get();
        const unsigned int count = m_count;
        if (count != 0) {
            long long diff;
            if (__builtin_sub_overflow(time, times[count - 1], &diff)) {
                diff = std::numeric_limits<long long>::max();
            }
            if (diff > m_largestDiff) {
                m_largestDiff = diff;
            }
        }
        times[count] = time;
        m_count = static_cast<unsigned short>(count + 1);
        m_modified = true;
        reinterpret_cast<unsigned char*>(times + m_allocated)[count] = value;
    }

private:
    bool grow();

    long long m_indexLength = 0;
    long long m_largestDiff = 0;
    /// m_allocated times, then as many bytes.
    std::unique_ptr<long long[]> m_times;
    unsigned short m_count = 0;
    unsigned short m_allocated = 0;
    unsigned short m_capacity;
    bool m_modified = false;
};

} // namespace Tracewell
