// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// Fuses changes that lie closer together than the resolution into dense stretches. It takes the
/// stream of a tree's events and blocks through a queue of two, and gives out a stream in which
/// neighbours are more than one resolution apart or fused. Plain data.
class TRACEWELL_API WdbDenseDrawFilter
{
public:
    struct DenseEvent
    {
        enum Type : int { None = 0, Simple = 1, Eof = 2, Block = 3, Blank = 4, Dense = 5 };

        Type type = None;
        unsigned char value = 0;
        long long startTime = 0;
        long long endTime = 0;
        /// How far the event reaches past endTime when the distance to the next one is measured.
        long long trim = 0;
    };

    enum Command : int {
        EmitPending = 0, ///< the answer is a Blank; fetch again next time
        NeedMore = 1,    ///< add the next event and call process again
        EmitQueued = 2,  ///< an answer; the pending event stays
        SplitBlock = 3,  ///< a Block at the tail was dropped; re-add it in two steps
        Finished = 4     ///< no more answers
    };

    /// With `keepSimple` a Simple event within the resolution is not swallowed.
    explicit WdbDenseDrawFilter(bool keepSimple);

    /// In units of simulation time.
    void setResolution(long long resolution) { m_resolution = resolution; }
    void reset();
    /// A Dense that enters is a Block again.
    void addDenseEvent(const DenseEvent& event);
    void addSimpleEvent(long long time, unsigned char value);
    void addBlank(long long time);
    void addEof(long long time);
    void addTrimmedBlock(long long startTime, long long endTime);
    void addUntrimmedBlock(long long startTime, long long endTime, long long trim);
    /// Works on the event added last; `out` is set with EmitPending and EmitQueued.
    Command process(DenseEvent& out);

    // Short cuts for a client that sees its next changes.

    /// True while a dense stretch grows change by change: a Simple event within the resolution of
    /// getRunEnd would only move the stretch's end.
    bool isInRun() const;
    long long getRunEnd() const { return back().endTime; }
    /// Takes one that lies within reach of the run, and with it all between them, as if each had
    /// been added and processed. `before` is the time of the one in front of it.
    void extendRun(long long before, long long time, unsigned char value);

    /// True while only a Simple event is pending: one further than the resolution behind it would
    /// release it as it is.
    bool isPassing() const { return m_queueState == Empty && m_pending.type == DenseEvent::Simple; }
    long long getPendingTime() const { return m_pending.startTime; }
    /// Takes one that lies so far behind, and gives out the one that was pending.
    void passSimple(long long time, unsigned char value, DenseEvent& out)
    {
        out = m_pending;
        m_pending.startTime = time;
        m_pending.endTime = time;
        m_pending.value = value;
    }

private:
    enum QueueState : int { Empty = 0, Slot0 = 1, Slot0Slot1 = 2, Slot1 = 3, Slot1Slot0 = 4 };

    bool hasTwo() const { return m_queueState == Slot0Slot1 || m_queueState == Slot1Slot0; }
    DenseEvent& front();
    DenseEvent& back();
    const DenseEvent& back() const;
    void popFront();
    void popBack();
    void pushBack(const DenseEvent& event);
    void pushNextEvent();
    void makeDense(DenseEvent& event) const;
    void mergeQueue(DenseEvent& first, const DenseEvent& last);

    long long m_resolution = 0;
    DenseEvent m_pending;
    QueueState m_queueState = Empty;
    DenseEvent m_slot0;
    DenseEvent m_slot1;
    bool m_keepSimple;
};

} // namespace Tracewell
