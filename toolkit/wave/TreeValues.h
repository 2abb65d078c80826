// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalValues.h"

#include <string>
#include <vector>

namespace Tracewell {
class WdbIEventReader;
class WdbLiveReader;
class WdbScalarBTree;
} // namespace Tracewell

namespace tracewell {

class EventWaveFile;

/// The histories of signals in an event database: their trees, filled by one scan of the recording.
class TreeValues : public SignalValues
{
public:
    /// \throws Failure when the signals are larger than anything that the file can hold.
    TreeValues(EventWaveFile& file, std::vector<Signal> chosen);
    /// Of a recording that is on its way to `path`: its reader keeps the trees up to date. Whoever
    /// uses them holds the reader's read-write mutex.
    TreeValues(Tracewell::WdbLiveReader& reader, const std::string& path,
               std::vector<Signal> chosen);

    std::string lookUp(long long id) const override;
    /// The trees of the signal's bytes, in ascending order of their addresses.
    const std::vector<Tracewell::WdbScalarBTree*>& trees(std::size_t signal) const
    {
        return m_trees[signal];
    }

protected:
    std::unique_ptr<SignalCursor> wholeCursor(std::size_t signal,
                                              const TimeWindow& window) const override;
    std::optional<long long> nextWholeChange(std::size_t signal, long long time) const override;
    std::optional<long long> previousWholeChange(std::size_t signal, long long time) const override;

private:
    void requireSensibleSize(const std::string& path, unsigned long long fileSize) const;

    Tracewell::WdbIEventReader& m_reader;
    /// What comes behind it is left out.
    long long m_end;
    std::vector<std::vector<Tracewell::WdbScalarBTree*>> m_trees;
};

} // namespace tracewell
