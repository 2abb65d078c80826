#pragma once

#include "wave/WaveFile.h"

#include "DataBase.h"

#include <memory>
#include <string>

namespace tracewell {

/// A recording in a transition database.
class TransitionWaveFile : public WaveFile
{
public:
    /// \throws CommandError
    explicit TransitionWaveFile(const std::string& path);

    long long latestTime() const override { return m_database->getLatestTime(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    Tracewell::DataBase& database() { return *m_database; }

private:
    std::unique_ptr<Tracewell::DataBase> m_database;
};

} // namespace tracewell
