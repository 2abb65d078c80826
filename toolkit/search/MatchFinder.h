// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/Expression.h"
#include "search/SequenceMatcher.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// A stretch or a moment that was looked for.
struct SearchMatch
{
    long long begin = 0;
    /// Of a stretch, where the condition is no longer true; of samples in a row, the last; of a
    /// sequence, where it is complete; of a pair, where the second condition comes. None when that
    /// is not to be seen.
    std::optional<long long> end;
    /// Of a pair without an end: the run ends before it is too late.
    bool isOpen = false;
    /// What was shown at the beginning, as ChangeStream::appendValue has it.
    std::vector<std::string> values;
};

/// Makes matches out of what conditions come to, moment by moment.
class MatchFinder
{
public:
    /// False to stop.
    using OnMatch = std::function<bool(SearchMatch&)>;

    explicit MatchFinder(std::vector<Condition>& conditions) : m_conditions(conditions) {}
    MatchFinder(const MatchFinder&) = delete;
    MatchFinder& operator=(const MatchFinder&) = delete;
    virtual ~MatchFinder() = default;

    /// Must be set first, and be valid until finish().
    void setOnMatch(const OnMatch& onMatch) { m_onMatch = &onMatch; }
    /// A moment at which the conditions are to be looked at; `shown` are the values then.
    virtual void look(long long time, const std::vector<std::string>& shown) = 0;
    /// Nothing comes behind that time.
    virtual void finish(long long) {}
    bool isStopped() const { return m_isStopped; }

protected:
    Condition& condition(std::size_t index) { return m_conditions[index]; }
    void tell(SearchMatch match) { m_isStopped = m_isStopped || !(*m_onMatch)(match); }

private:
    std::vector<Condition>& m_conditions;
    const OnMatch* m_onMatch = nullptr;
    bool m_isStopped = false;
};

/// Stretches from `from` on in which a condition is true, between the moments too, so long at
/// least.
class StretchFinder : public MatchFinder
{
public:
    StretchFinder(std::vector<Condition>& conditions, long long from, long long atLeast,
                  bool areEndsOpen)
        : MatchFinder(conditions), m_from(from), m_atLeast(atLeast), m_areEndsOpen(areEndsOpen)
    {}
    void look(long long time, const std::vector<std::string>& shown) override;
    void finish(long long time) override;

private:
    void tellOpen(long long time);

    long long m_from;
    long long m_atLeast;
    bool m_areEndsOpen;
    std::optional<SearchMatch> m_stretch;
    bool m_isTold = false;
};

/// Each moment at which a condition is true.
class MomentFinder : public MatchFinder
{
public:
    MomentFinder(std::vector<Condition>& conditions, long long from)
        : MatchFinder(conditions), m_from(from)
    {}
    void look(long long time, const std::vector<std::string>& shown) override;

private:
    long long m_from;
};

/// Moments in a row at which a condition is true, from the first to the last so long at least.
class RowFinder : public MatchFinder
{
public:
    RowFinder(std::vector<Condition>& conditions, long long atLeast)
        : MatchFinder(conditions), m_atLeast(atLeast)
    {}
    void look(long long time, const std::vector<std::string>& shown) override;
    void finish(long long time) override;

private:
    long long m_atLeast;
    std::optional<SearchMatch> m_row;
};

/// Conditions one behind the other.
class SequenceFinder : public MatchFinder
{
public:
    SequenceFinder(std::vector<Condition>& conditions, std::vector<SequenceMatcher::Delay> delays)
        : MatchFinder(conditions), m_matcher(std::move(delays))
    {}
    void look(long long time, const std::vector<std::string>& shown) override;

private:
    SequenceMatcher m_matcher;
};

/// The second condition behind the first. Between moments that are all there are to see, each at
/// which one is true counts; else those at which one becomes true.
class PairFinder : public MatchFinder
{
public:
    PairFinder(std::vector<Condition>& conditions, long long from, long long within,
               bool countsMoments)
        : MatchFinder(conditions), m_from(from), m_within(within), m_countsMoments(countsMoments)
    {}
    void look(long long time, const std::vector<std::string>& shown) override;
    void finish(long long time) override;

private:
    bool comes(std::size_t index);
    bool isLate(const SearchMatch& match, long long time) const
    {
        return time - match.begin > m_within;
    }

    long long m_from;
    long long m_within;
    bool m_countsMoments;
    bool m_wasTrue[2] = {false, false};
    std::deque<SearchMatch> m_waiting;
};

} // namespace tracewell
