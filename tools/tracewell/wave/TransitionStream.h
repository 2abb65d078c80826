#pragma once

#include "wave/SignalCursor.h"

#include "Transition.h"

#include <cstdint>
#include <vector>

namespace Tracewell {
class DataBase;
}

namespace tracewell {

/// What an object of a transition database holds from a time on.
struct ObjectState
{
    long long time = 0;
    /// The value as it lies; integers with their sign, a double as its bits.
    unsigned long long bits = 0;
    bool isReal = false;
    /// More changes than the resolution shows; the value means nothing.
    bool isDense = false;
    /// False behind a dense stretch: the store may have kept an older value for it.
    bool isExact = true;

    void take(const Tracewell::Transition& transition);
};

/// Asks for every transition of objects, a stretch of time at once.
class TransitionQuery
{
public:
    /// The database must outlive it.
    explicit TransitionQuery(Tracewell::DataBase& database) : m_database(&database) {}

    /// Appends the transitions of an object at `from` to `to`, in order. `lastTime` is that of the
    /// object's last one.
    void ask(std::uint32_t id, long long lastTime, long long from, long long to,
             std::vector<ObjectState>& out);

private:
    Tracewell::DataBase* m_database;
    std::vector<Tracewell::Transition> m_answers;
};

/// The history of one object through a window. First what holds at its start, if there is anything,
/// then every transition in it, whether it changes the value or not. Holds a bounded part of the
/// history in memory.
class TransitionStream
{
public:
    /// The database must outlive it.
    TransitionStream(Tracewell::DataBase& database, std::uint32_t id, const TimeWindow& window);

    /// False at the end.
    bool next(ObjectState& state);

private:
    bool load();
    void askForAll();
    void askForPart();

    Tracewell::DataBase* m_database;
    std::uint32_t m_id;
    TimeWindow m_window;
    /// Of the object.
    long long m_lastTime = 0;
    /// Where the part begins that was not asked for yet, and the time that the next one covers.
    long long m_from;
    long long m_span = 1;
    bool m_isAtStart = true;
    TransitionQuery m_query;
    std::vector<ObjectState> m_states;
    std::size_t m_at = 0;
};

} // namespace tracewell
