// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "BlockCodec.h"
#include "Transition.h"

namespace Tracewell {

/// From `before` to `time`, without overflow for times of damaged blocks.
inline long long timeBetween(long long before, long long time)
{
    return static_cast<long long>(static_cast<unsigned long long>(time) -
                                  static_cast<unsigned long long>(before));
}

/// Reads the records of a generic buffer, in the way in which BlockReader reads a block. There is
/// at least one.
class RecordReader
{
public:
    explicit RecordReader(const TransVecInfo& info) : m_records(info.records()), m_count(info.count)
    {}

    int count() const { return m_count; }
    long long firstTime() const { return m_records[0].time; }
    long long lastTime() const { return m_records[m_count - 1].time; }
    ValueType lastType() const { return static_cast<ValueType>(m_records[m_count - 1].type); }
    /// Wraps, so that advance gives the time of the next record whatever the two are.
    long long delta(int i) const { return timeBetween(m_records[i].time, m_records[i + 1].time); }
    static long long advance(long long time, long long delta)
    {
        return BlockReader::advance(time, delta);
    }
    void readValue(int i, Value& value) const
    {
        const DataBaseTransiton& record = m_records[i];
        const auto type = static_cast<ValueType>(record.type);
        if (packedBits(type) > 0) {
            value.setByte(static_cast<unsigned char>(record.payload));
        } else if (type == ValueString) {
            value.setString(nullptr);
        } else {
            value.setBits(type, record.payload);
            value.setAux(record.aux);
        }
    }

private:
    const DataBaseTransiton* m_records;
    int m_count;
};

inline Transition noTransition(long long time)
{
    Transition none;
    none.time = time;
    return none;
}

template <typename Reader> Transition transitionAt(const Reader& reader, int i, long long time)
{
    Transition transition;
    transition.time = time;
    reader.readValue(i, transition.value);
    return transition;
}

// The searches take a BlockReader or a RecordReader. They are linear, because times come as sums
// of gaps, and end after count() steps whatever the gaps are.

/// The last transition at or before `time`, or none at `time`.
template <typename Reader> Transition searchCurrent(const Reader& reader, long long time)
{
    long long before = reader.firstTime();
    if (time < before) {
        return noTransition(time);
    }
    int i = 0;
    while (before != time && i < reader.count() - 1) {
        const long long next = Reader::advance(before, reader.delta(i));
        if (next > time) {
            break;
        }
        before = next;
        ++i;
    }
    return transitionAt(reader, i, before);
}

/// The first transition after `time`, or none at time 0.
template <typename Reader> Transition searchNext(const Reader& reader, long long time)
{
    long long current = reader.firstTime();
    for (int i = 0; i < reader.count(); ++i) {
        if (current > time) {
            return transitionAt(reader, i, current);
        }
        if (i + 1 < reader.count()) {
            current = Reader::advance(current, reader.delta(i));
        }
    }
    return noTransition(0);
}

/// The last transition before `time`, or none at the first time. With `exactIsNone` a transition
/// at `time` itself makes it none, too, at `time`.
template <typename Reader>
Transition searchPrev(const Reader& reader, long long time, bool exactIsNone)
{
    long long before = reader.firstTime();
    if (before >= time) {
        return noTransition(before);
    }
    int i = 0;
    for (; i < reader.count() - 1; ++i) {
        const long long next = Reader::advance(before, reader.delta(i));
        if (next == time && exactIsNone) {
            return noTransition(time);
        }
        if (next >= time) {
            break;
        }
        before = next;
    }
    return transitionAt(reader, i, before);
}

} // namespace Tracewell
