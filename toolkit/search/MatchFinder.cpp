// SPDX-License-Identifier: BSD-3-Clause

#include "search/MatchFinder.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

constexpr std::size_t kMostWaiting = 1u << 20;

} // namespace

void StretchFinder::look(long long time, const std::vector<std::string>& shown)
{
    const bool isTrue = condition(0).isTrue();
    if (m_stretch) {
        if (m_areEndsOpen) {
            tellOpen(time);
        }
        if (!isTrue) {
            m_stretch->end = time;
            if (!m_isTold && time > m_from && time - m_stretch->begin >= m_atLeast) {
                tell(std::move(*m_stretch));
            }
            m_stretch.reset();
        }
    } else if (isTrue) {
        m_stretch = SearchMatch{std::max(time, m_from), std::nullopt, false, shown};
        m_isTold = false;
        if (m_areEndsOpen) {
            tellOpen(time);
        }
    }
    if (m_stretch && time <= m_from) {
        m_stretch->values = shown;
    }
}

/// Told when it is long enough, whatever comes; then no end is.
void StretchFinder::tellOpen(long long time)
{
    if (!m_isTold && time >= m_from && time - m_stretch->begin >= m_atLeast) {
        m_isTold = true;
        SearchMatch match = *m_stretch;
        tell(std::move(match));
    }
}

void StretchFinder::finish(long long time)
{
    if (m_stretch && !m_isTold && time >= m_from && time - m_stretch->begin >= m_atLeast) {
        tell(std::move(*m_stretch));
    }
}

void MomentFinder::look(long long time, const std::vector<std::string>& shown)
{
    if (condition(0).isTrue() && time >= m_from) {
        tell({time, time, false, shown});
    }
}

void RowFinder::look(long long time, const std::vector<std::string>& shown)
{
    if (!condition(0).isTrue()) {
        finish(time);
    } else if (m_row) {
        m_row->end = time;
    } else {
        m_row = SearchMatch{time, time, false, shown};
    }
}

void RowFinder::finish(long long)
{
    if (m_row && *m_row->end - m_row->begin >= m_atLeast) {
        tell(std::move(*m_row));
    }
    m_row.reset();
}

void SequenceFinder::look(long long time, const std::vector<std::string>& shown)
{
    m_matcher.sample(
        time, [this](std::size_t index) { return condition(index).isTrue(); }, shown,
        [this](long long begin, std::vector<std::string>& values, long long end) {
            if (!isStopped()) {
                tell({begin, end, false, std::move(values)});
            }
        });
}

bool PairFinder::comes(std::size_t index)
{
    const bool isTrue = condition(index).isTrue();
    const bool wasTrue = std::exchange(m_wasTrue[index], isTrue);
    return isTrue && (m_countsMoments || !wasTrue);
}

void PairFinder::look(long long time, const std::vector<std::string>& shown)
{
    while (!m_waiting.empty() && isLate(m_waiting.front(), time) && !isStopped()) {
        tell(std::move(m_waiting.front()));
        m_waiting.pop_front();
    }
    const bool isFirst = comes(0);
    const bool isSecond = comes(1);
    if (isFirst && time >= m_from) {
        if (m_waiting.size() >= kMostWaiting) {
            throw Failure(fmt::format("more than {} moments wait for what is to follow at once; "
                                      "give --within less time",
                                      kMostWaiting));
        }
        m_waiting.push_back({time, std::nullopt, false, shown});
    }
    while (isSecond && !m_waiting.empty() && !isStopped()) {
        m_waiting.front().end = time;
        tell(std::move(m_waiting.front()));
        m_waiting.pop_front();
    }
}

void PairFinder::finish(long long time)
{
    for (; !m_waiting.empty() && !isStopped(); m_waiting.pop_front()) {
        m_waiting.front().isOpen = !isLate(m_waiting.front(), time);
        tell(std::move(m_waiting.front()));
    }
}

} // namespace tracewell
