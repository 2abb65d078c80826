// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ReplayedChanges.h"
#include "playback/TextLookup.h"
#include "wave/ColumnWaveFile.h"

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// The changes of a recording in columns.
class ColumnChanges : public ReplayedChanges
{
public:
    /// \throws Failure, Qsim::OpenException
    explicit ColumnChanges(const std::string& path, Reach reach = Reach::Whole);

    const Declarations& declarations() const override { return m_file.declarations(); }
    const DataLayout& layout() const override { return m_file.layout(); }
    long long latestTime() const override { return m_file.latestTime(); }
    bool advance() override;
    long long end() const override
    {
        return m_file.isCut() ? m_file.end() : std::numeric_limits<long long>::max();
    }
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;

protected:
    void choose(const std::vector<std::uint32_t>& objects) override;
    bool findNext(long long& time) override;
    void applyNext() override;

private:
    Reach m_reach;
    ColumnWaveFile m_file;
    TextLookup m_texts;
    std::vector<Tracewell::WdbColumnField> m_fields;
    /// Made when it is clear which fields take part.
    std::unique_ptr<Tracewell::WdbColumnReplay> m_replay;
    /// Nothing that was asked for lies in the recording.
    bool m_isEmpty = false;
    /// Whether m_replay stands at a step that was not applied yet.
    bool m_isWaiting = false;
};

} // namespace tracewell
