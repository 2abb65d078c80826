#include "wave/TransitionStream.h"

#include "DataBase.h"

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

using Tracewell::Transition;

/// How many transitions are asked for together.
constexpr std::size_t kFewest = 1024;
constexpr std::size_t kMost = 8192;
/// Into so many parts a history is cut at first.
constexpr long long kFirstParts = 64;

bool hasValue(const Transition& transition)
{
    return transition.value.getType() != Tracewell::ValueNone;
}

/// A list for drawing may say at the object's last transition only that nothing is known behind it.
/// `first` is where the object's states begin in `out`.
void appendLast(Tracewell::DataBase& database, std::uint32_t id, long long lastTime, long long from,
                long long to, std::vector<ObjectState>& out, std::size_t first)
{
    if (lastTime < from || lastTime > to || (out.size() > first && out.back().time >= lastTime)) {
        return;
    }
    const Transition last = database.getCurrentTransition(id, lastTime);
    if (hasValue(last) && last.time == lastTime) {
        out.emplace_back().take(last);
    }
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

void TransitionQuery::ask(std::uint32_t id, long long lastTime, long long from, long long to,
                          std::vector<ObjectState>& out)
{
    const std::size_t first = out.size();
    m_answers.clear();
    m_database->getTransitions(id, from, to + 1, 0, m_answers);
    for (const Transition& answer : m_answers) {
        if (hasValue(answer) && answer.time >= from && answer.time <= to &&
            (out.size() == first || answer.time > out.back().time)) {
            out.emplace_back().take(answer);
        }
    }
    appendLast(*m_database, id, lastTime, from, to, out, first);
}

TransitionStream::TransitionStream(Tracewell::DataBase& database, std::uint32_t id,
                                   const TimeWindow& window)
    : m_database(&database), m_id(id), m_window(window), m_from(window.from), m_query(database)
{
    long long first = 0;
    Tracewell::ValueType type = Tracewell::ValueNone;
    if (!database.getTransInfo(id, first, m_lastTime, type)) {
        m_lastTime = std::numeric_limits<long long>::min();
    }
    m_window.to = std::min(m_window.to, std::numeric_limits<long long>::max() - 1);
    m_span = std::max(m_lastTime / kFirstParts - first / kFirstParts, 1LL);
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
    if (m_lastTime == std::numeric_limits<long long>::min()) {
        return false;
    }
    if (!m_isAtStart) {
        if (m_from > std::min(m_window.to, m_lastTime)) {
            return false;
        }
        askForPart();
        return true;
    }
    m_isAtStart = false;
    if (m_window.resolution > 0) {
        askForAll();
        m_from = std::numeric_limits<long long>::max();
        return true;
    }
    const Transition current = m_database->getCurrentTransition(m_id, m_window.from);
    if (hasValue(current) && current.time <= m_window.from) {
        m_states.emplace_back().take(current);
        ++m_from;
    }
    return true;
}

/// At a resolution the answers are as few as the pixels.
void TransitionStream::askForAll()
{
    std::vector<Transition> answers;
    m_database->getTransitions(m_id, m_window.from, m_window.to + 1, m_window.resolution + 1,
                               answers);
    bool isBehindDense = false;
    for (const Transition& answer : answers) {
        if (!hasValue(answer) || answer.time > m_window.to ||
            (!m_states.empty() && answer.time <= m_states.back().time)) {
            continue;
        }
        if (!m_states.empty() && answer.time <= m_window.from) {
            m_states.pop_back();
        }
        m_states.emplace_back().take(answer);
        m_states.back().isExact = !isBehindDense;
        isBehindDense = m_states.back().isDense;
    }
    appendLast(*m_database, m_id, m_lastTime, m_window.from, m_window.to, m_states, 0);
}

void TransitionStream::askForPart()
{
    const long long last = std::min(m_window.to, m_lastTime);
    const long long to = m_from > last - m_span ? last : m_from + m_span - 1;
    m_query.ask(m_id, m_lastTime, m_from, to, m_states);
    m_from = to + 1;
    if (m_states.size() > kMost) {
        m_span = std::max(m_span / 2, 1LL);
    } else if (m_states.size() < kFewest && m_span < std::numeric_limits<long long>::max() / 4) {
        m_span *= 4;
    }
}

} // namespace tracewell
