// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalValues.h"
#include "wave/ValueText.h"

#include "TimeMerge.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Merges the histories of several signals: one row for each time at which a signal changed, with
/// what all of them hold from then on. The first row is what holds at the start of the window, with
/// the time of the latest change before it. Holds one row in memory.
class ValueRows
{
public:
    struct Cell
    {
        SignalState::Kind kind = SignalState::Kind::Blank;
        std::string text;
    };

    ValueRows(const SignalValues& values, const TimeWindow& window, const ValueText& valueText);

    /// Steps to the next row; false when there is none.
    bool next();
    long long time() const { return m_time; }
    /// A cell for each signal.
    const std::vector<Cell>& cells() const { return m_cells; }

private:
    /// Steps the signal's cursor on; the time of where it comes to, or TimeMerge's end.
    long long step(std::size_t signal);
    void take(std::size_t signal);
    void clearFirings();

    const SignalValues& m_values;
    const ValueText& m_valueText;
    long long m_from;
    bool m_started = false;
    std::vector<std::unique_ptr<SignalCursor>> m_cursors;
    Tracewell::TimeMerge<std::size_t> m_waiting;
    /// Events that fire in the row at hand; they are silent again in the next one.
    std::vector<std::size_t> m_fired;
    long long m_time = 0;
    std::vector<Cell> m_cells;
};

} // namespace tracewell
