// SPDX-License-Identifier: BSD-3-Clause

#include "WdbColumnHistory.h"

#include "FieldWalk.h"

#include <algorithm>

namespace Tracewell {

namespace {

unsigned long long gapOf(long long before, long long after)
{
    return static_cast<unsigned long long>(after) - static_cast<unsigned long long>(before);
}

} // namespace

WdbColumnHistory::WdbColumnHistory(ColumnFile& file, unsigned int field, bool isCounter,
                                   long long from, long long to, long long resolution)
    : m_file(file), m_field(field), m_walk(std::make_unique<FieldWalk>(file, field)),
      m_isCounter(isCounter), m_from(from), m_to(to),
      m_resolution(static_cast<unsigned long long>(std::max(resolution, 0LL)))
{
    if (!m_walk->seek(std::min(from, to))) {
        m_hasComing = readItem(m_coming);
        return;
    }
    m_coming = {m_walk->time(), m_walk->time(), m_walk->value()};
    if (!isCounter && m_walk->isFirstOfSegment()) {
        findStart();
    }
    m_hasComing = true;
    m_hasValue = true;
    m_lastValue = m_coming.value;
    m_lastTime = m_coming.lastTime;
}

WdbColumnHistory::~WdbColumnHistory() = default;

/// A segment may begin with the value that there was already; then it came up earlier. What the
/// segment before has of the same time is overwritten by it.
void WdbColumnHistory::findStart()
{
    FieldWalk back(m_file, m_field);
    if (!back.seek(m_coming.firstTime)) {
        return;
    }
    while (back.previous()) {
        if (back.time() == m_coming.firstTime) {
            continue;
        }
        if (back.value() != m_coming.value) {
            return;
        }
        m_coming.firstTime = m_coming.lastTime = back.time();
        if (!back.isFirstOfSegment()) {
            return;
        }
    }
}

/// Where the next segment overwrites the last value of a run, at the same time, with the one before
/// it, the run ends with that one.
void WdbColumnHistory::shorten(Item& run)
{
    FieldWalk back(m_file, m_field);
    if (!m_isCounter && m_coming.firstTime == run.lastTime && m_coming.lastTime == run.lastTime &&
        back.seek(run.lastTime - 1) && back.value() == m_coming.value) {
        run.lastTime = back.time();
        run.value = back.value();
        m_hasComing = readItem(m_coming);
    }
}

bool WdbColumnHistory::next()
{
    if (m_isEndDue) {
        m_isEndDue = false;
        answer(m_dueTime, false, m_dueValue);
        return true;
    }
    if (m_resolution == 0) {
        if (!m_hasComing) {
            return false;
        }
        m_time = m_coming.lastTime;
        m_value = m_coming.value;
        if (!m_isWaiting && m_walk->nextWithin() && m_walk->time() <= m_to) {
            m_coming.lastTime = m_walk->time();
            m_coming.value = m_lastValue = m_walk->value();
        } else {
            m_hasComing = readItem(m_coming);
        }
        return true;
    }
    while (m_hasComing) {
        Item item = m_coming;
        m_hasComing = readItem(m_coming);
        const bool isRun = item.lastTime != item.firstTime;
        if (isRun && m_hasComing) {
            shorten(item);
        }
        const bool goesOn = item.lastTime >= m_from && m_hasComing && m_resolution > 0 &&
                            gapOf(item.lastTime, m_coming.firstTime) <= m_resolution;
        const bool wasInStretch = m_isInStretch;
        m_isInStretch = goesOn;
        if (isRun || goesOn) {
            if (!goesOn) {
                m_isEndDue = true;
                m_dueTime = item.lastTime;
                m_dueValue = item.value;
            }
            if (!wasInStretch) {
                answer(item.firstTime, true, 0);
                return true;
            }
            if (m_isEndDue) {
                return next();
            }
            continue;
        }
        answer(item.lastTime, false, item.value);
        return true;
    }
    return false;
}

void WdbColumnHistory::answer(long long time, bool isDense, unsigned long long value)
{
    m_time = time;
    m_isDense = isDense;
    m_value = value;
}

/// The next change that is one, at its last value for a time; or a run.
bool WdbColumnHistory::readItem(Item& out)
{
    for (;;) {
        if (!m_isWaiting) {
            if (readRun(out)) {
                return true;
            }
            if (!m_walk->next()) {
                return false;
            }
        }
        m_isWaiting = false;
        if (m_walk->time() > m_to) {
            m_isWaiting = true;
            return false;
        }
        out = {m_walk->time(), m_walk->time(), m_walk->value()};
        if (m_isCounter) {
            return true;
        }
        // Another one at this time can only begin a segment.
        ChangeSummary part;
        const bool mayBeRun = m_resolution > 0 && m_walk->peekPart(part);
        if (!mayBeRun || part.firstTime == out.lastTime) {
            while (m_walk->next()) {
                if (m_walk->time() != out.lastTime) {
                    m_isWaiting = true;
                    break;
                }
                out.value = m_walk->value();
            }
        }
        if (!m_hasValue || out.value != m_lastValue) {
            m_hasValue = true;
            m_lastValue = out.value;
            m_lastTime = out.lastTime;
            return true;
        }
    }
}

/// A part of the field, or all of many segments, that is dense as a whole and lies in the stretch.
bool WdbColumnHistory::readRun(Item& out)
{
    if (m_resolution == 0) {
        return false;
    }
    ChangeSummary all;
    if (m_walk->peekDigest(all) && isRun(all)) {
        m_walk->skipDigest();
    } else if (m_walk->peekPart(all) && isRun(all)) {
        m_walk->skipPart();
    } else {
        return false;
    }
    out = {all.firstTime, all.lastTime, all.lastValue};
    m_hasValue = true;
    m_lastValue = all.lastValue;
    m_lastTime = all.lastTime;
    return true;
}

bool WdbColumnHistory::isRun(const ChangeSummary& all) const
{
    return all.widestGap <= m_resolution && all.firstTime != all.lastTime &&
           all.firstTime >= m_from && all.lastTime <= m_to &&
           (m_isCounter || !m_hasValue ||
            (all.firstValue != m_lastValue && all.firstTime != m_lastTime));
}

} // namespace Tracewell
