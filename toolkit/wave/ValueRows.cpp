// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ValueRows.h"

#include "wave/DenseCursor.h"

#include <algorithm>
#include <utility>

namespace tracewell {

ValueRows::ValueRows(const SignalValues& values, const TimeWindow& window,
                     const ValueText& valueText)
    : m_values(values), m_valueText(valueText), m_from(window.from),
      m_cells(values.signals().size())
{
    m_cursors.reserve(m_cells.size());
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        auto cursor = values.cursor(i, {window.from, window.to, 0});
        if (window.resolution > 0) {
            cursor =
                std::make_unique<DenseCursor>(std::move(cursor), window.from, window.resolution);
        }
        m_cursors.push_back(std::move(cursor));
    }
    // What is damaged at the start of one signal ends the others as well.
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        const long long time = step(i);
        if (time != m_waiting.kEnd) {
            m_waiting.push(time, i);
        }
    }
}

bool ValueRows::next()
{
    if (m_waiting.isEmpty()) {
        return false;
    }
    clearFirings();
    long long until = m_waiting.getFirstTime();
    if (!m_started) {
        m_started = true;
        until = std::max(until, m_from);
    }
    m_waiting.advance(until, [this](std::size_t signal, long long time) {
        m_time = time;
        take(signal);
        return step(signal);
    });
    return true;
}

long long ValueRows::step(std::size_t signal)
{
    return m_cursors[signal]->next() ? m_cursors[signal]->time() : m_waiting.kEnd;
}

void ValueRows::take(std::size_t signal)
{
    const SignalState& state = m_cursors[signal]->state();
    m_cells[signal] = {state.kind, m_valueText.format(m_values.signals()[signal], state)};
    if (m_values.signals()[signal].valueKind->fires() && state.kind == SignalState::Kind::Value) {
        m_fired.push_back(signal);
    }
}

void ValueRows::clearFirings()
{
    for (const std::size_t signal : m_fired) {
        m_cells[signal] = {};
    }
    m_fired.clear();
}

} // namespace tracewell
