// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "search/ExpressionBuilder.h"
#include "search/MatchFinder.h"

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// What is looked for in a run.
struct SearchOrder
{
    /// A condition, or with `on` a sequence of some.
    ExpressionText expression;
    /// A second condition that is to follow the first within `within`.
    std::optional<ExpressionText> follower;
    long long within = 0;
    /// When to look; without it whenever the condition can change.
    std::optional<ExpressionText> on;
    /// With `on`: the values that hold from the moment on, in place of those just before it.
    bool isSampledAt = false;
    /// The condition holds at least so long.
    long long atLeast = 0;
    /// Where names are looked for first.
    std::string scope;
    /// Indices into Declarations::objects of what onMatch asks for besides.
    std::vector<std::uint32_t> shown;
    long long from = 0;
    long long to = std::numeric_limits<long long>::max();
    /// Nobody asks for the ends of matches: each is told when it begins, if that can be.
    bool areEndsOpen = false;
};

/// Looks for an expression in a run, from front to back. Without `on` a match is a stretch in which
/// the condition is true, or, where it asks for what was before or for events, each moment at which
/// it is. With `on` it is each sample at which it is true; with `atLeast` a row of such samples.
/// Holds the values of the signals that are named, and what is on its way. One thread.
class Search
{
public:
    using Progress = std::function<bool(double fraction, long long time)>;

    /// Selects what it needs in the stream, which is at its start. Both must outlive it.
    /// \throws Failure for wrong usage, with the place in the expression.
    Search(ChangeStream& changes, const SignalNames& names, SearchOrder order);
    ~Search();

    /// Whether matches are stretches, with an end that is no moment of them.
    bool findsStretches() const { return m_findsStretches; }
    /// Whether they are several conditions one behind the other.
    bool findsSequences() const { return m_findsSequences; }

    /// Once. `progress` is told the fraction that is done and the time that is looked at, now and
    /// then, and stops the search by false.
    /// \throws as ChangeStream::next
    void run(const MatchFinder::OnMatch& onMatch, const Progress& progress);

private:
    struct Trigger;

    void build(const SignalNames& names);
    void chooseFinder(const SequenceTree& sequence);
    void select();
    void takeStep(long long time);
    bool isTriggered();
    void look(long long time);
    void takeShown();

    ChangeStream& m_changes;
    const SearchOrder m_order;
    /// What the triggers see, and what the conditions see.
    Operands m_now;
    Operands m_seen;
    std::vector<Trigger> m_triggers;
    std::vector<Condition> m_conditions;
    std::unique_ptr<MatchFinder> m_finder;
    bool m_findsStretches = false;
    bool m_findsSequences = false;
    std::vector<std::string> m_shown;
};

} // namespace tracewell
