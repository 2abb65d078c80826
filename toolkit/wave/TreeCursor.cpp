// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TreeCursor.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

using Tracewell::WdbByteValue;
using Tracewell::WdbScalarBTree;

} // namespace

TreeCursor::TreeCursor(const Signal& signal, const std::vector<WdbScalarBTree*>& trees,
                       const TimeWindow& window, long long latestTime)
    : MergedCursor(signal.valueKind->fires(), window.from),
      m_plainColumns(static_cast<std::size_t>(signal.size)), m_to(window.to),
      m_columns(trees.size()), m_overrideBytes(trees.size() - m_plainColumns),
      m_blankColumns(m_plainColumns)
{
    m_state.plain.resize(m_plainColumns);
    for (std::size_t i = 0; i < trees.size(); ++i) {
        m_columns[i].iterator.reset(
            trees[i]->find(from(), window.resolution, latestTime, window.to));
        start(i);
    }
}

std::optional<long long> TreeCursor::step(std::size_t column)
{
    const WdbScalarBTree::Iterator* iterator = m_columns[column].iterator.get();
    if (iterator == nullptr || !*iterator || iterator->getTime() > m_to) {
        m_columns[column].iterator.reset();
        return std::nullopt;
    }
    return iterator->getTime();
}

bool TreeCursor::take(std::size_t index)
{
    Column& column = m_columns[index];
    const WdbByteValue now = (**column.iterator).getByteValue();
    ++*column.iterator;
    if (now == column.value) {
        return false;
    }
    const bool plain = index < m_plainColumns;
    setKind(column.value, now, plain);
    column.value = now;
    if (now.getValueType() == WdbByteValue::Value) {
        (plain ? m_state.plain[index] : m_overrideBytes[index - m_plainColumns]) = now.getValue();
    }
    return true;
}

void TreeCursor::setKind(const WdbByteValue& before, const WdbByteValue& now, bool plain)
{
    m_denseColumns += (now.isDenseDraw() ? 1u : 0u);
    m_denseColumns -= (before.isDenseDraw() ? 1u : 0u);
    // An override without a value is none.
    if (plain) {
        m_blankColumns += (now.isBlank() ? 1u : 0u);
        m_blankColumns -= (before.isBlank() ? 1u : 0u);
    }
}

void TreeCursor::finishState()
{
    m_state.override = {};
    if (m_overrideBytes.size() >= sizeof m_state.override) {
        std::memcpy(&m_state.override, m_overrideBytes.data(), sizeof m_state.override);
    }
    if (m_denseColumns > 0) {
        m_state.kind = SignalState::Kind::Dense;
    } else if (m_blankColumns > 0 && m_state.override.kind == 0) {
        m_state.kind = SignalState::Kind::Blank;
    } else {
        m_state.kind = SignalState::Kind::Value;
    }
    if (isEvent()) {
        countFirings();
    }
}

void TreeCursor::countFirings()
{
    if (m_state.kind != SignalState::Kind::Value) {
        m_state.firings = 0;
        m_countKnown = m_countKnown && m_state.kind != SignalState::Kind::Dense;
        return;
    }
    const unsigned char count = m_state.plain[0];
    // The count wraps. Behind a dense stretch the one before is not known.
    m_state.firings = m_countKnown ? static_cast<unsigned char>(count - m_lastCount) : 1;
    m_lastCount = count;
    m_countKnown = true;
}

} // namespace tracewell
