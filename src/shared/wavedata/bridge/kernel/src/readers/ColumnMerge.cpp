#include "ColumnMerge.h"

#include <algorithm>
#include <limits>

namespace Tracewell {

void ColumnMerge::add(WdbScalarBTree::Iterator* iterator)
{
    const auto index = static_cast<unsigned int>(m_iterators.size());
    m_iterators.push_back(iterator);
    if (hasAnswer(*iterator))
        m_live.push_back({index, iterator->getTime()});
}

void ColumnMerge::run(std::vector<WdbTimeByteValues>& out)
{
    if (m_live.empty())
        return;
    long long latestStart = 0;
    for (const Column& column : m_live)
        latestStart = std::max(latestStart, column.time);
    takeAnswers([](const Column&) { return true; });
    emit(latestStart, out);

    while (!m_live.empty()) {
        const long long time = m_nextTime;
        if (takeAnswers([time](const Column& column) { return column.time == time; }))
            emit(time, out);
    }
}

/// Takes the answers of the columns that are due and moves these on. True when a value changed.
template <class IsDue> bool ColumnMerge::takeAnswers(IsDue isDue)
{
    bool changed = false;
    auto kept = m_live.begin();
    m_nextTime = std::numeric_limits<long long>::max();
    for (Column column : m_live) {
        if (isDue(column)) {
            WdbScalarBTree::Iterator& iterator = m_iterators[column.index];
            if (setValue(column.index, (*iterator).getByteValue()))
                changed = true;
            ++iterator;
            if (!hasAnswer(iterator))
                continue;
            column.time = iterator.getTime();
        }
        m_nextTime = std::min(m_nextTime, column.time);
        *kept++ = column;
    }
    m_live.erase(kept, m_live.end());
    return changed;
}

bool ColumnMerge::setValue(unsigned int column, const WdbByteValue& value)
{
    if (m_current.getValueAt(column) == value)
        return false;
    m_current.setValueAt(column, value);
    return true;
}

void ColumnMerge::emit(long long time, std::vector<WdbTimeByteValues>& out)
{
    m_current.setTime(time);
    out.push_back(m_current);
}

} // namespace Tracewell
