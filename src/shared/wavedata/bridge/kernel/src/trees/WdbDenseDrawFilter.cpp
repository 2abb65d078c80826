// SPDX-License-Identifier: BSD-3-Clause

#include "WdbDenseDrawFilter.h"

#include "SaturatingTime.h"

namespace Tracewell {

namespace {

WdbDenseDrawFilter::DenseEvent makeEvent(WdbDenseDrawFilter::DenseEvent::Type type,
                                         long long startTime, long long endTime)
{
    WdbDenseDrawFilter::DenseEvent event;
    event.type = type;
    event.startTime = startTime;
    event.endTime = endTime;
    return event;
}

} // namespace

WdbDenseDrawFilter::WdbDenseDrawFilter(bool keepSimple) : m_keepSimple(keepSimple) {}

void WdbDenseDrawFilter::reset()
{
    m_resolution = 0;
    m_pending = DenseEvent();
    m_queueState = Empty;
}

void WdbDenseDrawFilter::addDenseEvent(const DenseEvent& event)
{
    m_pending = event;
    if (m_pending.type == DenseEvent::Dense) {
        m_pending.type = DenseEvent::Block;
    }
}

void WdbDenseDrawFilter::addSimpleEvent(long long time, unsigned char value)
{
    m_pending = makeEvent(DenseEvent::Simple, time, time);
    m_pending.value = value;
}

void WdbDenseDrawFilter::addBlank(long long time)
{
    m_pending = makeEvent(DenseEvent::Blank, time, time);
}

void WdbDenseDrawFilter::addEof(long long time)
{
    m_pending = makeEvent(DenseEvent::Eof, time, time);
}

void WdbDenseDrawFilter::addTrimmedBlock(long long startTime, long long endTime)
{
    addUntrimmedBlock(startTime, endTime, 0);
}

void WdbDenseDrawFilter::addUntrimmedBlock(long long startTime, long long endTime, long long trim)
{
    m_pending = makeEvent(DenseEvent::Block, startTime, endTime > 0 ? endTime : startTime);
    m_pending.trim = trim;
}

WdbDenseDrawFilter::Command WdbDenseDrawFilter::process(DenseEvent& out)
{
    if (m_queueState == Empty) {
        if (m_pending.type == DenseEvent::Eof) {
            return Finished;
        }
        if (m_pending.type == DenseEvent::Blank) {
            out = m_pending;
            m_pending = DenseEvent();
            return EmitPending;
        }
        pushNextEvent();
        return NeedMore;
    }

    DenseEvent& first = front();
    DenseEvent& last = back();
    const bool isChange = m_pending.type != DenseEvent::Eof && m_pending.type != DenseEvent::Blank;
    const long long reach =
        saturatingAdd(saturatingAdd(m_pending.startTime, m_pending.trim), last.trim);

    // Of two changes at one time the later one counts; it does not make a run with itself.
    if (reach == last.endTime && last.type == DenseEvent::Simple && isChange) {
        last = m_pending;
        m_pending = DenseEvent();
        return NeedMore;
    }

    if (saturatingSubtract(reach, last.endTime) <= m_resolution) {
        if (isChange && (!m_keepSimple || m_pending.type != DenseEvent::Simple)) {
            if (first.type == DenseEvent::Dense) {
                mergeQueue(first, last);
            } else {
                makeDense(first);
            }
            pushNextEvent();
            return NeedMore;
        }
        if (first.type == DenseEvent::Block) {
            makeDense(first);
        }
        if (hasTwo()) {
            mergeQueue(first, last);
        }
    } else if (last.type == DenseEvent::Block) {
        popBack();
        m_pending = DenseEvent();
        if (m_queueState != Empty && front().type == DenseEvent::Dense) {
            // Stands for the end of the run that the Block had joined, so that it joins again.
            const long long runEnd = front().endTime;
            pushBack(makeEvent(DenseEvent::Simple, runEnd, runEnd));
        }
        return SplitBlock;
    }
    out = first;
    popFront();
    return EmitQueued;
}

bool WdbDenseDrawFilter::isInRun() const
{
    return hasTwo() && back().type == DenseEvent::Simple && !m_keepSimple;
}

void WdbDenseDrawFilter::extendRun(long long before, long long time, unsigned char value)
{
    DenseEvent& last = back();
    front().endTime = before;
    last = makeEvent(DenseEvent::Simple, time, time);
    last.value = value;
}

WdbDenseDrawFilter::DenseEvent& WdbDenseDrawFilter::front()
{
    return m_queueState == Slot0 || m_queueState == Slot0Slot1 ? m_slot0 : m_slot1;
}

WdbDenseDrawFilter::DenseEvent& WdbDenseDrawFilter::back()
{
    return m_queueState == Slot0 || m_queueState == Slot1Slot0 ? m_slot0 : m_slot1;
}

const WdbDenseDrawFilter::DenseEvent& WdbDenseDrawFilter::back() const
{
    return m_queueState == Slot0 || m_queueState == Slot1Slot0 ? m_slot0 : m_slot1;
}

void WdbDenseDrawFilter::popFront()
{
    switch (m_queueState) {
    case Slot0Slot1:
        m_queueState = Slot1;
        break;
    case Slot1Slot0:
        m_queueState = Slot0;
        break;
    default:
        m_queueState = Empty;
    }
}

void WdbDenseDrawFilter::popBack()
{
    switch (m_queueState) {
    case Slot0Slot1:
        m_queueState = Slot0;
        break;
    case Slot1Slot0:
        m_queueState = Slot1;
        break;
    default:
        m_queueState = Empty;
    }
}

void WdbDenseDrawFilter::pushBack(const DenseEvent& event)
{
    switch (m_queueState) {
    case Empty:
        m_slot0 = event;
        m_queueState = Slot0;
        break;
    case Slot0:
        m_slot1 = event;
        m_queueState = Slot0Slot1;
        break;
    case Slot1:
        m_slot0 = event;
        m_queueState = Slot1Slot0;
        break;
    default: // a full queue takes nothing
        break;
    }
}

void WdbDenseDrawFilter::pushNextEvent()
{
    pushBack(m_pending);
    m_pending = DenseEvent();
}

void WdbDenseDrawFilter::makeDense(DenseEvent& event) const
{
    event.type = DenseEvent::Dense;
    event.trim = m_resolution < 1 ? 0 : m_resolution - 1;
}

void WdbDenseDrawFilter::mergeQueue(DenseEvent& first, const DenseEvent& last)
{
    first.endTime = last.endTime;
    popBack();
}

} // namespace Tracewell
