// SPDX-License-Identifier: BSD-3-Clause

#include "wave/MergedCursor.h"

#include <limits>

namespace tracewell {

MergedCursor::MergedCursor(bool isEvent, long long from) : m_isEvent(isEvent), m_from(from)
{
    if (isEvent && m_from > std::numeric_limits<long long>::min()) {
        --m_from;
    }
}

bool MergedCursor::next()
{
    if (!m_started) {
        m_started = true;
        if (!m_waiting.isEmpty() && m_waiting.getFirstTime() <= m_from) {
            takeUpTo(m_from);
            finishState();
            if (!m_isEvent) {
                return true;
            }
            m_state.firings = 0;
        }
    }
    while (!m_waiting.isEmpty()) {
        if (takeUpTo(m_waiting.getFirstTime())) {
            finishState();
            return true;
        }
    }
    return false;
}

bool MergedCursor::takeUpTo(long long time)
{
    bool changed = false;
    m_waiting.advance(time, [&](std::size_t column, long long due) {
        m_time = due;
        changed = take(column) || changed;
        return step(column).value_or(m_waiting.kEnd);
    });
    return changed;
}

} // namespace tracewell
