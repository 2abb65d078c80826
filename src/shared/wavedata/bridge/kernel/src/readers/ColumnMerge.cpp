// SPDX-License-Identifier: BSD-3-Clause

#include "ColumnMerge.h"

#include <algorithm>

namespace Tracewell {

void ColumnMerge::add(WdbScalarBTree::Iterator* iterator)
{
    const auto column = static_cast<unsigned int>(m_iterators.size());
    m_iterators.push_back(iterator);
    if (!hasAnswer(*iterator)) {
        return;
    }
    m_waiting.push(iterator->getTime(), column);
    m_latestStart = std::max(m_latestStart, iterator->getTime());
}

void ColumnMerge::run(std::vector<WdbTimeByteValues>& out)
{
    if (m_waiting.isEmpty()) {
        return;
    }
    m_due = m_waiting.takeAll();
    takeAnswers();
    emit(m_latestStart, out);

    while (!m_waiting.isEmpty()) {
        const long long time = m_waiting.getFirstTime();
        m_due.clear();
        m_waiting.takePresent([this](unsigned int column) { m_due.push_back(column); });
        if (takeAnswers()) {
            emit(time, out);
        }
    }
}

/// Takes one answer of each column that is due and moves it on. True when a value changed.
bool ColumnMerge::takeAnswers()
{
    bool changed = false;
    for (const unsigned int column : m_due) {
        WdbScalarBTree::Iterator& iterator = m_iterators[column];
        const WdbByteValue value = (*iterator).getByteValue();
        if (!(m_current.getValueAt(column) == value)) {
            m_current.setValueAt(column, value);
            changed = true;
        }
        ++iterator;
        if (hasAnswer(iterator)) {
            m_waiting.push(iterator.getTime(), column);
        }
    }
    return changed;
}

void ColumnMerge::emit(long long time, std::vector<WdbTimeByteValues>& out)
{
    m_current.setTime(time);
    out.push_back(m_current);
}

} // namespace Tracewell
