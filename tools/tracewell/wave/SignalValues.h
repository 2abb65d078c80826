#pragma once

#include "wave/Signal.h"
#include "wave/SignalCursor.h"
#include "wave/WaveFile.h"

#include <string>
#include <vector>

namespace Tracewell {
class WdbLiveReader;
}

namespace tracewell {

/// The histories of some signals: their trees, filled by one scan of the recording. Afterwards
/// every question is answered from the trees, at any zoom.
class SignalValues
{
public:
    /// `file` must outlive it.
    /// \throws CommandError when the signals are larger than anything that the file can hold.
    SignalValues(WaveFile& file, std::vector<Signal> signals);
    /// Of a recording that is on its way: its reader keeps the trees up to date. Whoever uses them
    /// holds the reader's read-write mutex.
    SignalValues(Tracewell::WdbLiveReader& reader, const SignalNames& names,
                 std::vector<Signal> signals);

    const std::vector<Signal>& signals() const { return m_signals; }
    SignalCursor cursor(std::size_t signal, const TimeWindow& window) const;
    /// The trees of the signal's bytes, in ascending order of their addresses.
    const std::vector<Tracewell::WdbScalarBTree*>& trees(std::size_t signal) const
    {
        return m_trees[signal];
    }
    /// A text of the recording's string map.
    std::string lookUp(long long id) const { return m_reader.getStringMapValue(id); }

private:
    void requireSensibleSize(const std::string& path, unsigned long long fileSize) const;

    Tracewell::WdbIEventReader& m_reader;
    std::vector<Signal> m_signals;
    std::vector<std::vector<Tracewell::WdbScalarBTree*>> m_trees;
};

} // namespace tracewell
