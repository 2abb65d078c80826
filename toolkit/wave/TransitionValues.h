// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/DamageEnd.h"
#include "wave/SignalValues.h"

#include "DataBase.h"

namespace tracewell {

/// The histories of signals in a transition database, which answers from its own trees.
class TransitionValues : public SignalValues
{
public:
    /// The database must outlive it. It may be storing meanwhile.
    TransitionValues(Tracewell::DataBase& database, std::vector<Signal> signals)
        : SignalValues(std::move(signals)), m_database(database), m_end(database.getDamageLog())
    {}

    /// Gives nothing: such a database has no texts.
    std::string lookUp(long long id) const override;

protected:
    std::unique_ptr<SignalCursor> wholeCursor(std::size_t signal,
                                              const TimeWindow& window) const override;
    std::optional<long long> nextWholeChange(std::size_t signal, long long time) const override;
    std::optional<long long> previousWholeChange(std::size_t signal, long long time) const override;

private:
    std::optional<long long> lastChangeBefore(std::size_t signal, long long time) const;

    Tracewell::DataBase& m_database;
    const DamageEnd m_end;
};

} // namespace tracewell
