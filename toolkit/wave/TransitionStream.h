// SPDX-License-Identifier: BSD-3-Clause

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

/// Whether each of a run of objects has any transition. A vector of which this is not true never
/// has a value.
bool areAllPresent(Tracewell::DataBase& database, std::uint32_t firstId, std::uint32_t count);

/// The history of one object through a window. First what holds at its start, if there is anything,
/// then every transition in it, whether it changes the value or not. Holds a bounded part of the
/// history in memory.
class TransitionStream
{
public:
    static constexpr std::size_t kFewestHeld = 16;
    static constexpr std::size_t kMostHeld = 4096;

    /// The database must outlive it. `held` is how many transitions may be in memory, kFewestHeld
    /// to kMostHeld. With a resolution, there may be as many as there are pixels in a drawing.
    TransitionStream(Tracewell::DataBase& database, std::uint32_t id, const TimeWindow& window,
                     std::size_t held = kMostHeld);

    /// Steps to the next transition; false at the end.
    bool next(ObjectState& state);

private:
    bool load();
    void askForStart();
    void askForHistory();
    void askForDrawing();
    void goOnBehind(long long time);
    void add(const Tracewell::Transition& transition);

    Tracewell::DataBase* m_database;
    std::uint32_t m_id;
    TimeWindow m_window;
    /// Time of the object's last transition.
    long long m_lastTime = 0;
    /// Where the part begins that was not asked for yet.
    long long m_from;
    std::size_t m_held;
    std::size_t m_asked = kFewestHeld;
    bool m_isAtStart = true;
    bool m_isAtEnd = false;
    bool m_isBehindDense = false;
    bool m_hasGiven = false;
    long long m_givenTime = 0;
    std::vector<ObjectState> m_states;
    std::size_t m_at = 0;
};

} // namespace tracewell
