// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "diff/CommonTime.h"
#include "diff/SignalPairs.h"
#include "wave/ObservedValue.h"

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// Where a signal is not the same in both runs for the first time.
struct Difference
{
    std::size_t pair = 0;
    /// Time of the first difference, on the common scale.
    long long time = 0;
    ObservedValue a;
    ObservedValue b;
};

/// Goes through two runs side by side, by real time, and finds where each signal differs first.
/// Holds the present values of both.
class RunComparison
{
public:
    struct Window
    {
        /// On the common scale, both included.
        long long from = 0;
        long long to = std::numeric_limits<long long>::max();
    };

    /// Keeps references to all of them.
    RunComparison(ChangeStream& a, ChangeStream& b, const CommonTime& time,
                  const std::vector<SignalPair>& pairs);

    /// Once. Ends early when no signal is left that could differ. `progress` is told the fraction
    /// that is done.
    /// \throws as ChangeStream::next
    void run(const Window& window, const std::function<void(double)>& progress);

    /// By time, and at one time in the order of the pairs.
    const std::vector<Difference>& differences() const { return m_differences; }
    /// Whether both runs were gone through to their ends.
    bool sawEnds() const { return m_sawEnds; }

private:
    /// One run, and which pairs each of its objects belongs to.
    struct Side
    {
        ChangeStream& stream;
        /// By object: where its pairs start in `pairs`; one entry more than there are objects.
        std::vector<std::uint32_t> starts;
        std::vector<std::uint32_t> pairs;
        /// The next step, on the common scale.
        long long next = 0;
        bool hasNext = false;
        /// Whether the step at hand is this run's.
        bool isMoved = false;
    };

    static Side makeSide(ChangeStream& stream, const std::vector<SignalPair>& pairs,
                         std::uint32_t SignalPair::*object);
    void select(const Window& window);
    void goThrough(const Window& window, const std::function<void(double)>& progress);
    void peek();
    bool isBehindEnd() const;
    void compareChanged(const Side& side);
    void compare(std::uint32_t index);
    bool isSame(std::uint32_t index);
    bool isSameFiring(const SignalPair& pair);
    unsigned long long firingsOf(const Side& side, std::uint32_t object) const;

    Side m_a;
    Side m_b;
    const CommonTime& m_scale;
    const std::vector<SignalPair>& m_pairs;
    /// Bytes of a pair's values in a data memory when both have the same; 0 otherwise.
    std::vector<std::uint32_t> m_plainBytes;
    /// The last step in which a pair was looked at; the largest number for one that has differed.
    std::vector<unsigned long long> m_seen;
    unsigned long long m_step = 0;
    std::size_t m_left;
    long long m_from = 0;
    long long m_time = 0;
    std::string m_textOfA;
    std::string m_textOfB;
    std::vector<Difference> m_differences;
    bool m_sawEnds = false;
};

} // namespace tracewell
