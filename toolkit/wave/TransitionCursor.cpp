// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TransitionCursor.h"

#include "names/TransitionLayout.h"
#include "text/Failure.h"

#include "DataBase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

/// The a-word and the b-word of a group.
constexpr std::size_t kBitsOfGroup = 32;
constexpr std::size_t kBytesOfGroup = 8;
/// Transitions that all columns may hold together.
constexpr std::size_t kMostHeld = 1 << 20;
constexpr std::uint32_t kMostBits = 1 << 20;

} // namespace

TransitionCursor::TransitionCursor(Tracewell::DataBase& database, const Signal& signal,
                                   const TimeWindow& window)
    : MergedCursor(signal.valueKind->fires(), window.from), m_database(database),
      m_end(database.getDamageLog()), m_kind(*signal.valueKind)
{
    TimeWindow asked = window;
    asked.from = from();
    m_state.plain.resize(static_cast<std::size_t>(signal.size));
    if (!areAllPresent(database, signal.firstId, signal.idCount)) {
        return;
    }
    if (signal.idCount > kMostBits) {
        throw Failure(fmt::format("{}: {} bits are more than can be shown, which is {}; "
                                  "`tracewell export` gives them",
                                  signal.label, signal.idCount, kMostBits));
    }
    m_held = std::clamp(kMostHeld / std::max<std::size_t>(signal.idCount, 1),
                        TransitionStream::kFewestHeld, TransitionStream::kMostHeld);
    for (std::uint32_t bit = 0; bit < signal.idCount; ++bit) {
        addColumn(signal.firstId + bit, bit, false, asked);
    }
    m_blankColumns = m_columns.size();
    for (std::uint32_t bit = 0; m_kind.hasBits() && bit < signal.idCount; ++bit) {
        const std::uint32_t id = signal.firstId + bit + signal.nineStateOffset;
        if (signal.nineStateOffset != 0 && areAllPresent(database, id, 1)) {
            m_nineStates.resize(signal.idCount, kNoNineState);
            addColumn(id, bit, true, asked);
        }
    }
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        start(i);
    }
}

bool TransitionCursor::next()
{
    return MergedCursor::next() && time() <= m_end.get();
}

void TransitionCursor::addColumn(std::uint32_t id, std::uint32_t bit, bool isNineState,
                                 const TimeWindow& window)
{
    Column& column = m_columns.emplace_back(m_database, id, window, m_held);
    column.bit = bit;
    column.isNineState = isNineState;
}

std::optional<long long> TransitionCursor::step(std::size_t index)
{
    Column& column = m_columns[index];
    return column.stream.next(column.coming) ? std::optional(column.coming.time) : std::nullopt;
}

bool TransitionCursor::take(std::size_t index)
{
    Column& column = m_columns[index];
    const ObjectState& coming = column.coming;
    const bool isSame = column.hasState && coming.isExact && column.state.isExact &&
                        !coming.isDense && !column.state.isDense &&
                        coming.bits == column.state.bits;
    if (isSame) {
        return false;
    }
    const bool wasDense = column.hasState && column.state.isDense;
    if (!column.hasState && !column.isNineState) {
        --m_blankColumns;
    }
    m_denseColumns += coming.isDense ? 1u : 0u;
    m_denseColumns -= wasDense ? 1u : 0u;
    column.state = coming;
    column.hasState = true;
    column.isNew = true;
    return true;
}

void TransitionCursor::finishState()
{
    m_state.kind = SignalState::Kind::Value;
    if (m_denseColumns > 0) {
        m_state.kind = SignalState::Kind::Dense;
    } else if (m_blankColumns > 0) {
        m_state.kind = SignalState::Kind::Blank;
    }
    if (m_state.kind != SignalState::Kind::Value) {
        m_state.firings = 0;
        m_countKnown = m_countKnown && m_state.kind != SignalState::Kind::Dense;
        return;
    }
    for (Column& column : m_columns) {
        if (column.isNew) {
            show(column);
            column.isNew = false;
        }
    }
    if (!m_nineStates.empty()) {
        showLetters();
    }
}

void TransitionCursor::show(Column& column)
{
    if (!column.state.isExact) {
        column.state.take(m_database.getCurrentTransition(column.id, column.state.time));
    }
    const unsigned long long bits = column.state.bits;
    if (m_kind.hasBits()) {
        showBit(column);
    } else if (m_kind.fires()) {
        countFirings(static_cast<std::uint32_t>(bits) >> 8);
        m_state.plain[0] = static_cast<unsigned char>(bits >> 8);
        m_state.plain[1] = static_cast<unsigned char>(bits);
    } else {
        std::memcpy(m_state.plain.data(), &bits, std::min(sizeof bits, m_state.plain.size()));
        m_state.isReal = column.state.isReal;
    }
}

void TransitionCursor::showBit(const Column& column)
{
    const auto code = static_cast<std::uint8_t>(column.state.bits);
    if (column.isNineState) {
        std::uint8_t& state = m_nineStates[column.bit];
        m_nineStateBits -= state != kNoNineState ? 1u : 0u;
        state = code < kLetterCount && code > kLetterMask ? code : kNoNineState;
        m_nineStateBits += state != kNoNineState ? 1u : 0u;
        return;
    }
    if (m_kind.isLetter()) {
        m_state.plain[0] = code & kLetterMask;
        return;
    }
    unsigned char* const group = m_state.plain.data() + column.bit / kBitsOfGroup * kBytesOfGroup;
    const std::uint32_t mask = 1u << column.bit % kBitsOfGroup;
    std::uint32_t words[2];
    std::memcpy(words, group, sizeof words);
    words[0] = (code & 1) != 0 ? words[0] | mask : words[0] & ~mask;
    words[1] = (code & 2) != 0 ? words[1] | mask : words[1] & ~mask;
    std::memcpy(group, words, sizeof words);
}

void TransitionCursor::showLetters()
{
    m_state.letters.clear();
    if (m_nineStateBits == 0) {
        return;
    }
    for (std::size_t bit = m_nineStates.size(); bit-- > 0;) {
        const std::uint8_t code =
            m_nineStates[bit] != kNoNineState
                ? m_nineStates[bit]
                : static_cast<std::uint8_t>(m_columns[bit].state.bits & kLetterMask);
        m_state.letters += kLetters[code];
    }
}

void TransitionCursor::countFirings(std::uint32_t count)
{
    // The count wraps. Behind a dense stretch the one before is not known.
    m_state.firings = m_countKnown ? firingsBetween(m_lastCount, count) : 1;
    m_lastCount = count;
    m_countKnown = true;
}

} // namespace tracewell
