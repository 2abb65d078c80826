// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalCursor.h"

#include "TimeMerge.h"

#include <cstddef>
#include <optional>

namespace tracewell {

/// A cursor over columns, each with a history of its own, that are merged by time.
class MergedCursor : public SignalCursor
{
public:
    bool next() override;

protected:
    /// `from` is where the window starts.
    MergedCursor(bool isEvent, long long from);

    bool isEvent() const { return m_isEvent; }
    /// Where the columns start: at the window's start, or just before it for an event, since
    /// whether it fires at the start itself shows only against the count before it.
    long long from() const { return m_from; }
    /// Once for each column, when it is ready.
    void start(std::size_t column)
    {
        if (const std::optional<long long> time = step(column)) {
            m_waiting.push(*time, column);
        }
    }

    /// Steps a column on and gives the time of its next answer; none at the end.
    virtual std::optional<long long> step(std::size_t column) = 0;
    /// Takes over that answer; false when it changes nothing. step() follows.
    virtual bool take(std::size_t column) = 0;
    /// Brings the signal's state together after all answers of one time.
    virtual void finishState() = 0;

private:
    /// Takes over all answers up to `time`; false when they change nothing.
    bool takeUpTo(long long time);

    bool m_isEvent;
    long long m_from;
    bool m_started = false;
    Tracewell::TimeMerge<std::size_t> m_waiting;
};

} // namespace tracewell
