// SPDX-License-Identifier: BSD-3-Clause

#include "search/Search.h"

#include "search/ExpressionParser.h"
#include "text/Failure.h"

#include <algorithm>
#include <utility>

namespace tracewell {

namespace {

constexpr unsigned int kStepsOfProgress = 65536;

bool namesNothing(const ExpressionTree& tree)
{
    return tree.kind != ExpressionTree::Kind::Name &&
           std::all_of(tree.operands.begin(), tree.operands.end(),
                       [](const TreePointer& operand) { return namesNothing(*operand); });
}

} // namespace

/// What --on waits for.
struct Search::Trigger
{
    EventTree::Edge edge;
    Condition expression;
    std::optional<Condition> condition;
    /// Where the expression is just an event: its operand. Else null.
    SignalOperand* event;
    FourState before;
    bool hasBefore = false;

    bool isReached()
    {
        if (event != nullptr) {
            return event->hasFired;
        }
        const FourState& now = expression.value();
        const bool isEdge = hasBefore && isEdgeTo(now);
        before = now;
        hasBefore = true;
        return isEdge;
    }

private:
    bool isEdgeTo(const FourState& now) const
    {
        if (edge == EventTree::Edge::Any) {
            return !before.isSame(now);
        }
        // Away from the one level, or to the other.
        const unsigned int from = before.bit(0);
        const unsigned int to = now.bit(0);
        const bool isRise = from != to && (from == 0 || (from > 1 && to == 1));
        const bool isFall = from != to && (from == 1 || (from > 1 && to == 0));
        return edge == EventTree::Edge::Rising    ? isRise
               : edge == EventTree::Edge::Falling ? isFall
                                                  : isRise || isFall;
    }
};

Search::Search(ChangeStream& changes, const SignalNames& names, SearchOrder order)
    : m_changes(changes), m_order(std::move(order)), m_now(names.declarations()),
      m_seen(names.declarations()), m_shown(m_order.shown.size())
{
    build(names);
    select();
}

Search::~Search() = default;

void Search::build(const SignalNames& names)
{
    const SequenceTree sequence = parseSequence(m_order.expression);
    const SequenceTree follower =
        m_order.follower ? parseSequence(*m_order.follower) : SequenceTree{};
    const EventTree event = m_order.on ? parseEvent(*m_order.on) : EventTree{};
    NamedSignals signals(names, m_order.scope);
    for (const SequenceTree* const tree : {&sequence, &follower}) {
        for (const SequenceTree::Element& element : tree->elements) {
            signals.want(*element.condition);
        }
    }
    for (const EventTree::Term& term : event.terms) {
        signals.want(*term.expression);
        if (term.condition != nullptr) {
            signals.want(*term.condition);
        }
    }

    ExpressionBuilder builder(m_order.expression, signals, m_seen);
    bool isWithoutNames = true;
    for (const SequenceTree::Element& element : sequence.elements) {
        isWithoutNames = isWithoutNames && namesNothing(*element.condition);
        m_conditions.push_back(builder.condition(*element.condition));
    }
    if (isWithoutNames && event.terms.empty()) {
        m_order.expression.refuse("no signal is named", m_order.expression.text.size());
    }
    if (m_order.follower) {
        if (sequence.elements.size() > 1 || follower.elements.size() > 1) {
            m_order.follower->refuse("a pair is one of conditions; a sequence stands", 0);
        }
        m_conditions.push_back(ExpressionBuilder(*m_order.follower, signals, m_seen)
                                   .condition(*follower.elements[0].condition));
    }
    for (const EventTree::Term& term : event.terms) {
        ExpressionBuilder now(*m_order.on, signals, m_now);
        SignalOperand* const fired = now.eventOf(*term.expression);
        Condition expression = now.value(*term.expression);
        std::optional<Condition> condition;
        if (term.condition != nullptr) {
            condition = ExpressionBuilder(*m_order.on, signals, m_seen).condition(*term.condition);
        }
        if (expression.looksBack() || (condition && condition->looksBack())) {
            m_order.on->refuse("nothing that looks back belongs in an event; it stands", 0);
        }
        m_triggers.push_back(
            {term.edge, std::move(expression), std::move(condition), fired, FourState(1)});
    }
    chooseFinder(sequence);
}

void Search::chooseFinder(const SequenceTree& sequence)
{
    const bool isSampled = !m_triggers.empty();
    const bool countsMoments =
        isSampled || m_seen.haveEvents() ||
        std::any_of(m_conditions.begin(), m_conditions.end(),
                    [](const Condition& condition) { return condition.looksBack(); });
    if (sequence.elements.size() > 1) {
        if (!isSampled) {
            m_order.expression.refuse("a sequence is counted in samples; say with --on when to "
                                      "take them. One stands",
                                      0);
        }
        std::vector<SequenceMatcher::Delay> delays;
        for (std::size_t i = 1; i < sequence.elements.size(); ++i) {
            delays.push_back({sequence.elements[i].least, sequence.elements[i].most});
        }
        m_findsSequences = true;
        m_finder = std::make_unique<SequenceFinder>(m_conditions, std::move(delays));
    } else if (m_order.follower) {
        m_finder =
            std::make_unique<PairFinder>(m_conditions, m_order.from, m_order.within, countsMoments);
    } else if (!countsMoments) {
        m_findsStretches = true;
        m_finder = std::make_unique<StretchFinder>(m_conditions, m_order.from, m_order.atLeast,
                                                   m_order.areEndsOpen);
    } else if (m_order.atLeast == 0) {
        m_finder = std::make_unique<MomentFinder>(m_conditions, m_order.from);
    } else if (isSampled) {
        m_finder = std::make_unique<RowFinder>(m_conditions, m_order.atLeast);
    } else {
        m_order.expression.refuse("what happens at moments does not last, as --for asks; say with "
                                  "--on when to look. It stands",
                                  0);
    }
}

void Search::select()
{
    std::vector<std::uint32_t> objects = m_seen.objects();
    for (const std::vector<std::uint32_t>& more : {m_now.objects(), m_order.shown}) {
        objects.insert(objects.end(), more.begin(), more.end());
    }
    std::sort(objects.begin(), objects.end());
    objects.erase(std::unique(objects.begin(), objects.end()), objects.end());
    ChangeSelection selection;
    selection.objects = std::move(objects);
    // So that the first step is what was before.
    selection.from = std::max(m_order.from - 1, 0LL);
    m_changes.select(selection);
}

void Search::run(const MatchFinder::OnMatch& onMatch, const Progress& progress)
{
    m_finder->setOnMatch(onMatch);
    long long time = 0;
    bool hasNext = m_changes.peek(time);
    if (m_triggers.empty()) {
        // What has no value yet is unknown, and that can be looked for.
        const long long start = std::max(m_order.from - 1, 0LL);
        if (hasNext && time <= start && m_changes.advance()) {
            m_seen.refresh(m_changes);
            takeShown();
        }
        look(start);
        hasNext = m_changes.peek(time);
    }
    unsigned int steps = 0;
    for (; hasNext && !m_finder->isStopped(); hasNext = m_changes.peek(time)) {
        if (time > m_order.to || time > m_changes.end()) {
            break;
        }
        const bool isChanged = m_changes.advance();
        if (++steps % kStepsOfProgress == 0 && !progress(m_changes.progress(), time)) {
            return;
        }
        if (isChanged && m_changes.time() <= m_changes.end()) {
            takeStep(m_changes.time());
        }
    }
    if (!m_finder->isStopped()) {
        m_finder->finish(std::min({m_order.to, m_changes.latestTime(), m_changes.end()}));
    }
}

void Search::takeStep(long long time)
{
    if (m_triggers.empty()) {
        m_seen.forgetFirings();
        const bool isAny = m_seen.refresh(m_changes);
        takeShown();
        if (isAny) {
            look(time);
        }
        return;
    }
    if (m_order.isSampledAt) {
        m_seen.refresh(m_changes);
        takeShown();
    }
    m_now.forgetFirings();
    if (m_now.refresh(m_changes) && isTriggered()) {
        look(time);
        m_seen.forgetFirings();
    }
    if (!m_order.isSampledAt) {
        m_seen.refresh(m_changes);
        takeShown();
    }
}

bool Search::isTriggered()
{
    bool isReached = false;
    for (Trigger& trigger : m_triggers) {
        // Each takes part in every step, to know what was before.
        const bool isEdge = trigger.isReached();
        isReached = isReached || (isEdge && (!trigger.condition || trigger.condition->isTrue()));
    }
    return isReached;
}

void Search::look(long long time)
{
    m_seen.setTime(time);
    m_finder->look(time, m_shown);
    for (Condition& condition : m_conditions) {
        condition.step();
    }
}

void Search::takeShown()
{
    for (std::size_t i = 0; i < m_shown.size(); ++i) {
        const std::uint32_t object = m_order.shown[i];
        const std::vector<std::uint32_t>& changed = m_changes.changed();
        if (std::binary_search(changed.begin(), changed.end(), object)) {
            m_shown[i].clear();
            m_changes.appendValue(m_shown[i], object);
        } else if (m_changes.declarations().objects[object].kind->fires()) {
            m_shown[i].clear();
        }
    }
}

} // namespace tracewell
