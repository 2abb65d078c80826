#include "wave/MergedCursor.h"

#include <algorithm>
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
        if (!m_due.empty() && m_due.front().time <= m_from) {
            takeUpTo(m_from);
            finishState();
            if (!m_isEvent) {
                return true;
            }
            m_state.firings = 0;
        }
    }
    while (!m_due.empty()) {
        if (takeUpTo(m_due.front().time)) {
            finishState();
            return true;
        }
    }
    return false;
}

void MergedCursor::makeDue(std::size_t column)
{
    if (const std::optional<long long> time = step(column)) {
        m_due.push_back({*time, column});
        std::push_heap(m_due.begin(), m_due.end());
    }
}

bool MergedCursor::takeUpTo(long long time)
{
    bool changed = false;
    while (!m_due.empty() && m_due.front().time <= time) {
        std::pop_heap(m_due.begin(), m_due.end());
        const Due due = m_due.back();
        m_due.pop_back();
        m_time = due.time;
        changed = take(due.column) || changed;
        makeDue(due.column);
    }
    return changed;
}

} // namespace tracewell
