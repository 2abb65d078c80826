// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// Follows the attempts of a sequence of conditions from sample to sample. An attempt begins at
/// each sample with the first condition true, and ends with the first sample at which the last one
/// is true in its place, or when that cannot be any more. One thread.
class SequenceMatcher
{
public:
    struct Delay
    {
        unsigned long long least = 0;
        unsigned long long most = 0;
    };
    /// Told of a match: when it began, what was kept of then, and when it is complete.
    using Found =
        std::function<void(long long begin, std::vector<std::string>& values, long long end)>;
    /// Attempts that may be on their way at once.
    static constexpr std::size_t kMostAttempts = 1u << 20;

    /// The delays in front of each condition but the first.
    explicit SequenceMatcher(std::vector<Delay> delays) : m_delays(std::move(delays)) {}

    /// Takes a sample: `isTrue` tells of a condition, and is asked when it matters; `values` are
    /// kept with an attempt that begins. `found` is told of what ends here, by the time of the
    /// beginning. \throws Failure for more attempts than can be held.
    void sample(long long time, const std::function<bool(std::size_t)>& isTrue,
                const std::vector<std::string>& values, const Found& found);

private:
    /// Samples at which a condition may come, by their numbers.
    struct Interval
    {
        unsigned long long first;
        unsigned long long last;
    };
    struct Attempt
    {
        long long begin;
        std::vector<std::string> values;
        /// By condition behind the first; ascending, without overlaps.
        std::vector<std::vector<Interval>> awaited;
    };

    bool advance(Attempt& attempt, const std::function<bool(std::size_t)>& isTrue) const;
    void reach(Attempt& attempt, std::size_t condition) const;
    bool isOver(const Attempt& attempt) const;

    std::vector<Delay> m_delays;
    std::vector<Attempt> m_attempts;
    unsigned long long m_sample = 0;
};

} // namespace tracewell
