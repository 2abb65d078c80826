// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TransitionValues.h"

#include "wave/TransitionCursor.h"

#include "DataBase.h"

#include <limits>
#include <vector>

namespace tracewell {

namespace {

using Tracewell::DataBase;
using Tracewell::Transition;

bool hasValue(const Transition& transition)
{
    return transition.value.getType() != Tracewell::ValueNone;
}

/// Whether the transition gives the object another value than it had. An event has another count
/// with each.
bool isChange(DataBase& database, std::uint32_t id, const Transition& transition)
{
    const Transition before = database.getPrevTransition(id, transition.time);
    return !hasValue(before) || before.time >= transition.time ||
           before.value.getBits() != transition.value.getBits();
}

/// At `last` at the latest.
std::optional<long long> nextChangeOf(DataBase& database, std::uint32_t id, long long time,
                                      long long last)
{
    const Transition before = database.getCurrentTransition(id, time);
    const bool isKnown = hasValue(before) && before.time <= time;
    std::vector<Transition> answers;
    std::size_t most = TransitionStream::kFewestHeld;
    for (bool hasMore = time < last; hasMore; most = TransitionStream::kMostHeld) {
        answers.clear();
        hasMore = database.getHistory(id, time + 1, last, most, answers);
        for (const Transition& found : answers) {
            if (hasValue(found) && !(isKnown && found.value.getBits() == before.value.getBits())) {
                return found.time;
            }
            time = found.time;
        }
    }
    return std::nullopt;
}

std::optional<long long> previousChangeOf(DataBase& database, std::uint32_t id, long long time)
{
    for (Transition found = database.getPrevTransition(id, time);
         hasValue(found) && found.time < time; found = database.getPrevTransition(id, time)) {
        if (isChange(database, id, found)) {
            return found.time;
        }
        time = found.time;
    }
    return std::nullopt;
}

/// Calls visit for each object that the signal's value comes from; none if it never has a value.
template <class Visit> void forEachObject(DataBase& database, const Signal& signal, Visit visit)
{
    if (!areAllPresent(database, signal.firstId, signal.idCount)) {
        return;
    }
    for (std::uint32_t i = 0; i < signal.idCount; ++i) {
        visit(signal.firstId + i);
        if (signal.nineStateOffset != 0 && signal.valueKind->hasBits()) {
            visit(signal.firstId + i + signal.nineStateOffset);
        }
    }
}

} // namespace

std::unique_ptr<SignalCursor> TransitionValues::wholeCursor(std::size_t signal,
                                                            const TimeWindow& window) const
{
    return std::make_unique<TransitionCursor>(m_database, signals()[signal], window);
}

std::optional<long long> TransitionValues::nextWholeChange(std::size_t signal, long long time) const
{
    std::optional<long long> nearest;
    forEachObject(m_database, signals()[signal], [&](std::uint32_t id) {
        const long long last = nearest ? *nearest - 1 : std::numeric_limits<long long>::max();
        if (const std::optional<long long> found = nextChangeOf(m_database, id, time, last)) {
            nearest = found;
        }
    });
    return nearest && *nearest <= m_end.get() ? nearest : std::nullopt;
}

std::optional<long long> TransitionValues::previousWholeChange(std::size_t signal,
                                                               long long time) const
{
    std::optional<long long> found = lastChangeBefore(signal, time);
    // Damage that was met on the way: what is whole may end before the time.
    while (m_end.get() < time - 1) {
        time = m_end.get() + 1;
        found = lastChangeBefore(signal, time);
    }
    return found;
}

std::optional<long long> TransitionValues::lastChangeBefore(std::size_t signal,
                                                            long long time) const
{
    std::optional<long long> nearest;
    forEachObject(m_database, signals()[signal], [&](std::uint32_t id) {
        const std::optional<long long> found = previousChangeOf(m_database, id, time);
        if (found && (!nearest || *found > *nearest)) {
            nearest = found;
        }
    });
    return nearest;
}

std::string TransitionValues::lookUp(long long /*id*/) const
{
    return {};
}

} // namespace tracewell
