// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/WaveFile.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A run in a format of others, opened as if it had been recorded: a temporary recording of it is
/// read.
class ImportedWaveFile : public WaveFile
{
public:
    /// Reads the whole input.
    /// \throws Failure
    explicit ImportedWaveFile(const std::string& path);

    long long latestTime() const override { return m_file->latestTime(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override
    {
        return m_file->values(std::move(signals));
    }
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;

private:
    std::unique_ptr<WaveFile> m_file;
    std::vector<std::string> m_shortfalls;
    std::vector<std::string> m_notices;
};

} // namespace tracewell
