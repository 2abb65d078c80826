// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/DamageEnd.h"
#include "wave/MergedCursor.h"
#include "wave/TransitionStream.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tracewell {

/// The history of a signal in a transition database: those of its bits, merged.
class TransitionCursor : public MergedCursor
{
public:
    /// The database must outlive it.
    /// \throws Failure for more bits than there can be a place for.
    TransitionCursor(Tracewell::DataBase& database, const Signal& signal, const TimeWindow& window);

    /// Also false behind what is whole.
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
        /// What the object holds by now.
        ObjectState state;
        bool hasState = false;
        /// The signal's state does not show it yet.
        bool isNew = false;
    };

    void addColumn(std::uint32_t id, std::uint32_t bit, bool isNineState, const TimeWindow& window);
    std::optional<long long> step(std::size_t column) override;
    bool take(std::size_t index) override;
    void finishState() override;
    void show(Column& column);
    void showBit(const Column& column);
    void showLetters();
    void countFirings(std::uint32_t count);

    Tracewell::DataBase& m_database;
    const DamageEnd m_end;
    const ValueKind& m_kind;
    std::vector<Column> m_columns;
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
