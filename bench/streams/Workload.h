// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tracewell::bench {

/// A stream of value changes, the same for every writer and in every run. The first signals are
/// 32-bit vectors, the others scalars.
class Workload
{
public:
    struct Change
    {
        std::uint32_t signal;
        /// 0 or 1 for a scalar.
        std::uint32_t value;
    };

    /// "mixed": 2,000 signals, half of them vectors, 150 random ones change at a time. "clock": one
    /// scalar. "sparse": 100,000 scalars, one random one changes at a time. "scalars", which is for
    /// the replay and not among the names: as mixed, without vectors.
    /// \throws std::invalid_argument for another name.
    Workload(const std::string& name, std::size_t changeCount);

    static const std::vector<std::string>& names();

    const std::vector<Change>& changes() const { return m_changes; }
    std::uint32_t signalCount() const { return m_signalCount; }
    bool isVector(std::uint32_t signal) const { return signal < m_vectorCount; }
    long long endTime() const { return endTimeOf(m_changes.size()); }
    /// Of a run with that many changes.
    long long endTimeOf(std::size_t changeCount) const
    {
        return static_cast<long long>(changeCount / m_changesPerStep) * kStepTime;
    }

    // The data memory: vectors as 8 bytes a group, then a byte a scalar.
    long long addressOf(std::uint32_t signal) const
    {
        return isVector(signal) ? 8LL * signal : 8LL * m_vectorCount + (signal - m_vectorCount);
    }
    long long sizeOf(std::uint32_t signal) const { return isVector(signal) ? 8 : 1; }
    long long addressSize() const { return 8LL * m_vectorCount + (m_signalCount - m_vectorCount); }

    /// `count` signals from all over the design.
    std::vector<std::uint32_t> pick(std::uint32_t count) const;

    /// Calls atTime(time) for each new time and atChange(signal, value) for each change.
    template <class AtTime, class AtChange> void play(AtTime&& atTime, AtChange&& atChange) const
    {
        long long time = 0;
        std::size_t i = 0;
        while (i < m_changes.size()) {
            atTime(time);
            const std::size_t end = i + m_changesPerStep;
            for (; i < end && i < m_changes.size(); ++i) {
                atChange(m_changes[i].signal, m_changes[i].value);
            }
            time += kStepTime;
        }
    }

private:
    static constexpr long long kStepTime = 1000;

    std::uint32_t m_signalCount;
    std::uint32_t m_vectorCount;
    std::size_t m_changesPerStep;
    std::vector<Change> m_changes;
};

} // namespace tracewell::bench
