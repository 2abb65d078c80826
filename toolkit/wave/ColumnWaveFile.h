// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/RecordingEnd.h"
#include "wave/WaveFile.h"

#include "WdbColumnReader.h"
#include "WdbDamageLog.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Tracewell {
class WdbStringMapDatabase;
}

namespace tracewell {

/// A recording in columns.
class ColumnWaveFile : public WaveFile
{
public:
    /// \throws Failure
    explicit ColumnWaveFile(const std::string& path, Reach reach = Reach::Whole);
    ~ColumnWaveFile() override;

    long long latestTime() const override { return presentEnd().latestTime(); }
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;
    std::string unclosedText() const override { return m_end.unclosedText(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    /// What comes behind it is to be left out: damage that was met brings it down, below 0 when
    /// that is everything.
    long long end() const { return presentEnd().get(); }
    bool isCut() const { return presentEnd().isCut(); }
    /// Damage that somebody met elsewhere leaves nothing whole behind `end`.
    void endAt(long long end) { m_end.endAt(end); }
    /// The line on what was met that could not be read, with the places that somebody found who
    /// reads the file by himself; none without any.
    std::optional<std::string> damageText(const std::vector<Tracewell::WdbDamage>& more = {}) const;
    const Tracewell::WdbColumnReader& reader() const { return m_reader; }
    /// Empty for one that is not there.
    std::string text(long long id) const;

private:
    RecordingEnd& presentEnd() const;

    Tracewell::WdbColumnReader m_reader;
    /// Null in a file without texts. Goes before the reader.
    std::unique_ptr<Tracewell::WdbStringMapDatabase> m_texts;
    mutable RecordingEnd m_end;
    /// Ids of texts that somebody asked for in vain.
    mutable std::set<long long> m_missingTexts;
    /// How much damage m_end knows of.
    mutable unsigned long long m_damagesSeen = 0;
};

} // namespace tracewell
