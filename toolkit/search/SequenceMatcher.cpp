// SPDX-License-Identifier: BSD-3-Clause

#include "search/SequenceMatcher.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

unsigned long long sumOf(unsigned long long a, unsigned long long b)
{
    constexpr unsigned long long kMost = std::numeric_limits<unsigned long long>::max();
    return b > kMost - a ? kMost : a + b;
}

} // namespace

void SequenceMatcher::sample(long long time, const std::function<bool(std::size_t)>& isTrue,
                             const std::vector<std::string>& values, const Found& found)
{
    if (isTrue(0)) {
        Attempt attempt{time, values, std::vector<std::vector<Interval>>(m_delays.size())};
        if (m_delays.empty()) {
            found(time, attempt.values, time);
        } else if (m_attempts.size() >= kMostAttempts) {
            throw Failure(fmt::format("more than {} attempts of the sequence are on their way at "
                                      "once; give the delays an end, as in ##[1:100]",
                                      kMostAttempts));
        } else {
            reach(attempt, 1);
            m_attempts.push_back(std::move(attempt));
        }
    }
    const auto isDone = [&](Attempt& attempt) {
        if (advance(attempt, isTrue)) {
            found(attempt.begin, attempt.values, time);
            return true;
        }
        return isOver(attempt);
    };
    m_attempts.erase(std::remove_if(m_attempts.begin(), m_attempts.end(), isDone),
                     m_attempts.end());
    ++m_sample;
}

/// The condition in front of it is true now.
void SequenceMatcher::reach(Attempt& attempt, std::size_t condition) const
{
    const Delay& delay = m_delays[condition - 1];
    std::vector<Interval>& awaited = attempt.awaited[condition - 1];
    const Interval added{sumOf(m_sample, delay.least), sumOf(m_sample, delay.most)};
    // Delays do not change, so each begins behind the one before, and ends behind it.
    if (!awaited.empty() && added.first <= sumOf(awaited.back().last, 1)) {
        awaited.back().last = std::max(awaited.back().last, added.last);
    } else {
        awaited.push_back(added);
    }
}

/// True when the last condition comes now.
bool SequenceMatcher::advance(Attempt& attempt,
                              const std::function<bool(std::size_t)>& isTrue) const
{
    for (std::size_t condition = 1; condition <= m_delays.size(); ++condition) {
        std::vector<Interval>& awaited = attempt.awaited[condition - 1];
        while (!awaited.empty() && awaited.front().last < m_sample) {
            awaited.erase(awaited.begin());
        }
        const bool isNow = !awaited.empty() && awaited.front().first <= m_sample;
        if (!isNow || !isTrue(condition)) {
            continue;
        }
        if (condition == m_delays.size()) {
            return true;
        }
        reach(attempt, condition + 1);
    }
    return false;
}

bool SequenceMatcher::isOver(const Attempt& attempt) const
{
    return std::all_of(attempt.awaited.begin(), attempt.awaited.end(), [&](const auto& awaited) {
        return awaited.empty() || awaited.back().last <= m_sample;
    });
}

} // namespace tracewell
