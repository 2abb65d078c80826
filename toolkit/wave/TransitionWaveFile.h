// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/DamageEnd.h"
#include "wave/WaveFile.h"

#include "DataBase.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// A recording in a transition database.
class TransitionWaveFile : public WaveFile
{
public:
    /// \throws Failure
    explicit TransitionWaveFile(const std::string& path);

    long long latestTime() const override
    {
        return std::max(std::min(m_database->getLatestTime(), end()), 0LL);
    }
    std::vector<std::string> shortfalls() const override;
    /// What comes behind it is to be left out: damage that was met brings it down, below 0 when
    /// that is everything.
    long long end() const { return m_end->get(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    Tracewell::DataBase& database() { return *m_database; }

private:
    std::unique_ptr<Tracewell::DataBase> m_database;
    std::optional<DamageEnd> m_end;
    bool m_lacksNames = false;
};

} // namespace tracewell
