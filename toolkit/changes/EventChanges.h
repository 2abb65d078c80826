// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ReplayedChanges.h"
#include "playback/EventMerge.h"
#include "playback/TextLookup.h"
#include "wave/EventWaveFile.h"

#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// The changes of a recording in an event database. Merges the events themselves, which also keeps
/// each firing: a replay of byte trees by WdbMultiBtreeIterator has to make a tree for each byte
/// first and then steps byte by byte, for more time and ten times the memory.
class EventChanges : public ReplayedChanges
{
public:
    /// \throws Failure, Qsim::OpenException
    explicit EventChanges(const std::string& path, Reach reach = Reach::Whole);

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
    EventWaveFile m_file;
    TextLookup m_texts;
    /// Made when it is clear which buckets take part.
    std::optional<EventMerge> m_events;
    /// The first event of the next time; null at the end.
    const Tracewell::WdbEvent* m_event = nullptr;
};

} // namespace tracewell
