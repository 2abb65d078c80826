// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TransitionStream.h"

#include "DataBase.h"

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

using Tracewell::Transition;

/// A drawing is asked for in parts of so many pixels, many more than a screen has.
constexpr long long kPixels = 1 << 16;
constexpr long long kLastTime = std::numeric_limits<long long>::max();

bool hasValue(const Transition& transition)
{
    return transition.value.getType() != Tracewell::ValueNone;
}

} // namespace

void ObjectState::take(const Transition& transition)
{
    const Tracewell::Value& value = transition.value;
    time = transition.time;
    isDense = value.getType() == Tracewell::ValueDense;
    isReal = value.getType() == Tracewell::ValueDouble;
    bits = value.getType() == Tracewell::ValueInt32
               ? static_cast<unsigned long long>(static_cast<long long>(value.getInt32()))
               : value.getBits();
    isExact = true;
}

bool areAllPresent(Tracewell::DataBase& database, std::uint32_t firstId, std::uint32_t count)
{
    long long first = 0;
    long long last = 0;
    Tracewell::ValueType type = Tracewell::ValueNone;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!database.getTransInfo(firstId + i, first, last, type)) {
            return false;
        }
    }
    return true;
}

TransitionStream::TransitionStream(Tracewell::DataBase& database, std::uint32_t id,
                                   const TimeWindow& window, std::size_t held)
    : m_database(&database), m_id(id), m_window(window), m_from(window.from), m_held(held)
{
    long long first = 0;
    Tracewell::ValueType type = Tracewell::ValueNone;
    m_isAtEnd = !database.getTransInfo(id, first, m_lastTime, type);
    if (!m_isAtEnd && first > window.from) {
        // Whether it begins so late, before what others have until then is shown.
        database.getCurrentTransition(id, window.from);
    }
}

bool TransitionStream::next(ObjectState& state)
{
    while (m_at == m_states.size()) {
        if (!load()) {
            return false;
        }
    }
    state = m_states[m_at++];
    return true;
}

bool TransitionStream::load()
{
    m_states.clear();
    m_at = 0;
    if (m_isAtEnd) {
        return false;
    }
    if (m_window.resolution > 0) {
        askForDrawing();
    } else if (m_isAtStart) {
        askForStart();
    } else {
        askForHistory();
    }
    m_isAtStart = false;
    return true;
}

void TransitionStream::add(const Transition& transition)
{
    m_states.emplace_back().take(transition);
    m_hasGiven = true;
    m_givenTime = transition.time;
}

void TransitionStream::askForStart()
{
    const Transition current = m_database->getCurrentTransition(m_id, m_window.from);
    if (hasValue(current) && current.time <= m_window.from) {
        add(current);
        goOnBehind(m_from);
    }
}

void TransitionStream::goOnBehind(long long time)
{
    m_isAtEnd = m_isAtEnd || time == kLastTime;
    m_from = m_isAtEnd ? time : time + 1;
}

void TransitionStream::askForHistory()
{
    std::vector<Transition> answers;
    m_isAtEnd = m_from > m_window.to ||
                !m_database->getHistory(m_id, m_from, m_window.to, m_asked, answers);
    for (const Transition& answer : answers) {
        if (hasValue(answer)) {
            add(answer);
        }
    }
    if (!answers.empty()) {
        goOnBehind(answers.back().time);
    }
    m_asked = std::min(4 * m_asked, m_held);
}

/// The next part of the drawing. Its parts overlap by what holds where one begins.
void TransitionStream::askForDrawing()
{
    const long long pixel = std::min(m_window.resolution, kLastTime - 1) + 1;
    const bool isLast = m_from > m_window.to || (m_window.to - m_from) / pixel < kPixels;
    const long long to = isLast ? m_window.to : m_from + kPixels * pixel;
    std::vector<Transition> answers;
    m_database->getTransitions(m_id, m_from, std::min(to, kLastTime - 1) + 1, pixel, answers);
    for (const Transition& answer : answers) {
        // A run that goes on behind the part is not at its end.
        const bool isCut = !isLast && m_isBehindDense && answer.time == to;
        if (!hasValue(answer) || answer.time > to || isCut ||
            (m_hasGiven && answer.time <= m_givenTime)) {
            continue;
        }
        if (!m_states.empty() && answer.time <= m_window.from) {
            m_states.pop_back();
        }
        add(answer);
        m_states.back().isExact = !m_isBehindDense;
        m_isBehindDense = m_states.back().isDense;
    }
    // A list for drawing may say at the object's last transition only that nothing is known behind.
    if (m_lastTime >= m_from && m_lastTime <= to && (!m_hasGiven || m_givenTime < m_lastTime)) {
        const Transition last = m_database->getCurrentTransition(m_id, m_lastTime);
        if (hasValue(last) && last.time == m_lastTime) {
            add(last);
        }
    }
    m_isAtEnd = isLast || to >= m_lastTime;
    goOnBehind(to);
}

} // namespace tracewell
