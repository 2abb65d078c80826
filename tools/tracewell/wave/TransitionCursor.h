#pragma once

#include "wave/SignalCursor.h"
#include "wave/TransitionStream.h"

#include <cstdint>
#include <vector>

namespace tracewell {

/// The history of a signal in a transition database: those of its bits, merged.
class TransitionCursor : public SignalCursor
{
public:
    /// The database must outlive it.
    /// \throws CommandError for more bits than there can be a place for.
    TransitionCursor(Tracewell::DataBase& database, const Signal& signal, const TimeWindow& window);

    bool next() override;

private:
    struct Column
    {
        Column(Tracewell::DataBase& database, std::uint32_t objectId, const TimeWindow& window,
               std::size_t held)
            : id(objectId), stream(database, objectId, window, held)
        {}

        std::uint32_t id;
        TransitionStream stream;
        std::uint32_t bit = 0;
        bool isNineState = false;
        /// What the stream came to.
        ObjectState coming;
        /// What holds.
        ObjectState state;
        bool hasState = false;
        /// The signal's state does not show it yet.
        bool isNew = false;
    };
    struct Due
    {
        long long time = 0;
        std::size_t column = 0;
        /// For a heap with the earliest on top.
        bool operator<(const Due& other) const { return time > other.time; }
    };

    void addColumn(std::uint32_t id, std::uint32_t bit, bool isNineState, const TimeWindow& window);
    void makeDue(std::size_t column);
    bool takeUpTo(long long time);
    bool take(Column& column);
    void finishState();
    void show(Column& column);
    void showBit(const Column& column);
    void showLetters();
    void countFirings(std::uint32_t count);

    Tracewell::DataBase& m_database;
    Signal::Form m_form;
    unsigned int m_width;
    long long m_from;
    bool m_started = false;
    std::vector<Column> m_columns;
    std::vector<Due> m_due;
    /// Transitions that a column may hold.
    std::size_t m_held = TransitionStream::kMostHeld;
    std::size_t m_blankColumns = 0;
    std::size_t m_denseColumns = 0;
    /// Of each bit; kept only where there are nine-state objects.
    std::vector<std::uint8_t> m_nineStates;
    std::size_t m_nineStateBits = 0;
    bool m_countKnown = true;
    std::uint32_t m_lastCount = 0;
};

} // namespace tracewell
