// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ColumnCursor.h"

#include "wave/ColumnWaveFile.h"

#include <algorithm>
#include <cstring>

namespace tracewell {

ColumnCursor::ColumnCursor(const ColumnWaveFile& file, const Signal& signal,
                           const std::vector<unsigned int>& plain,
                           const std::vector<unsigned int>& override, const TimeWindow& window)
    : MergedCursor(signal.valueKind->fires(), window.from), m_file(file),
      m_blankBytes(static_cast<std::size_t>(signal.size))
{
    m_state.plain.resize(m_blankBytes);
    m_columns.reserve(plain.size() + override.size());
    for (const unsigned int field : plain) {
        addColumn(field, signal.address, m_state.plain, window);
    }
    if (!override.empty()) {
        m_overrideBytes.resize(sizeof(TextReference));
        for (const unsigned int field : override) {
            addColumn(field, signal.overrideAddress, m_overrideBytes, window);
        }
    }
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        start(i);
    }
}

void ColumnCursor::addColumn(unsigned int field, long long address,
                             std::vector<unsigned char>& target, const TimeWindow& window)
{
    const Tracewell::WdbColumnField place = m_file.reader().getField(field);
    Column column;
    column.history = m_file.reader().getHistory(field, from(), window.to, window.resolution);
    column.target = &target;
    const long long begin = std::max(place.address, address);
    const long long end = std::min(place.address + static_cast<long long>(place.size),
                                   address + static_cast<long long>(target.size()));
    column.begin = static_cast<std::size_t>(begin - address);
    column.size = static_cast<std::size_t>(std::max(end - begin, 0LL));
    column.skipped = static_cast<std::size_t>(begin - place.address);
    m_columns.push_back(std::move(column));
}

bool ColumnCursor::next()
{
    return MergedCursor::next() && m_time <= m_file.end();
}

std::optional<long long> ColumnCursor::step(std::size_t index)
{
    Column& column = m_columns[index];
    if (!column.history->next()) {
        return std::nullopt;
    }
    return column.history->getTime();
}

bool ColumnCursor::take(std::size_t index)
{
    Column& column = m_columns[index];
    const bool isDense = column.history->isDense();
    bool isChanged = isDense != column.isDense;
    m_denseColumns += (isDense ? 1u : 0u);
    m_denseColumns -= (column.isDense ? 1u : 0u);
    column.isDense = isDense;
    if (!column.hasValue) {
        column.hasValue = true;
        isChanged = true;
        if (column.target == &m_state.plain) {
            m_blankBytes -= column.size;
        }
    }
    if (isDense) {
        m_countKnown = false;
        return isChanged;
    }
    const unsigned long long value = column.history->getValue();
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    unsigned char* const place = column.target->data() + column.begin;
    if (isEvent() && column.target == &m_state.plain && index == 0) {
        // The count wraps. Behind a dense stretch the one before is not known.
        m_fired += m_countKnown ? static_cast<unsigned char>(bytes[0] - m_lastCount) : 1u;
        m_lastCount = bytes[0];
        m_countKnown = true;
    }
    if (std::memcmp(place, bytes + column.skipped, column.size) != 0) {
        std::memcpy(place, bytes + column.skipped, column.size);
        isChanged = true;
    }
    return isChanged;
}

void ColumnCursor::finishState()
{
    m_state.override = {};
    if (!m_overrideBytes.empty()) {
        std::memcpy(&m_state.override, m_overrideBytes.data(), sizeof m_state.override);
    }
    if (m_denseColumns > 0) {
        m_state.kind = SignalState::Kind::Dense;
    } else if (m_blankBytes > 0 && m_state.override.kind == 0) {
        m_state.kind = SignalState::Kind::Blank;
    } else {
        m_state.kind = SignalState::Kind::Value;
    }
    m_state.firings = m_state.kind == SignalState::Kind::Value ? m_fired : 0;
    m_fired = 0;
}

} // namespace tracewell
