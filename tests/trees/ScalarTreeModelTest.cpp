// SPDX-License-Identifier: BSD-3-Clause

#include "ScalarTreeTesting.h"
#include "testing/Seed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Tracewell {
namespace {

/// What a tree must hold, as a plain list of changes.
class History
{
public:
    void add(long long time, int value)
    {
        if (m_events.empty() || (value != getLast().value && time != getLast().time)) {
            m_events.push_back({time, value});
            return;
        }
        getLast().value = value;
        if (m_events.size() > 1 && m_events[m_events.size() - 2].value == value) {
            m_events.pop_back();
        }
    }

    const Answers& getEvents() const { return m_events; }
    Answer& getLast() { return m_events.back(); }

private:
    Answers m_events;
};

struct Query
{
    long long fromTime;
    long long resolution;
    long long latestTime;
    long long toTime = -1;
};

/// Checks what holds for every answer, whatever the tree looks like inside.
void expectSound(const Answers& events, const WdbScalarBTree& tree, const Query& query)
{
    const Answers answers =
        ask(tree, query.fromTime, query.resolution, query.latestTime, query.toTime);
    SCOPED_TRACE(::testing::Message()
                 << "from " << query.fromTime << " resolution " << query.resolution << " latest "
                 << query.latestTime << " to " << query.toTime);
    const auto isLater = [](long long time, const Answer& event) { return time < event.time; };
    const bool isLimited = query.toTime > 0;
    auto first = std::upper_bound(events.begin(), events.end(), query.fromTime, isLater);
    if (first != events.begin()) {
        --first;
    }
    const auto end = isLimited
                         ? std::upper_bound(events.begin(), events.end(), query.toTime, isLater)
                         : events.end();

    for (std::size_t i = 1; i < answers.size(); ++i) {
        const bool isRunsEnd = answers[i - 1].value == Answer::kDense;
        ASSERT_LT(answers[i - 1].time + (isRunsEnd ? 0 : query.resolution), answers[i].time)
            << "times ascend, by more than the resolution behind a value";
    }
    if (first >= end) {
        ASSERT_TRUE(answers.empty());
        return;
    }
    ASSERT_FALSE(answers.empty());
    ASSERT_TRUE(answers.front() == *first ||
                (answers.front().value == Answer::kDense && answers.front().time <= first->time))
        << "the view starts with what holds there";
    ASSERT_TRUE(!isLimited || answers.back().time <= query.toTime);

    for (auto event = first; event != end; ++event) {
        const auto next = std::upper_bound(answers.begin(), answers.end(), event->time, isLater);
        ASSERT_NE(next, answers.begin());
        const Answer& answer = *(next - 1);
        ASSERT_TRUE(answer.value == Answer::kDense || answer == *event)
            << *event << " vanished behind " << answer;

        // A value that holds for more than the resolution shows, and so does what ends it.
        const bool isLast = event + 1 == end;
        const bool isCut = isLimited && (end != events.end() || query.latestTime > query.toTime);
        const long long until = !isLast ? (event + 1)->time
                                : isCut ? query.toTime + 1
                                        : query.latestTime;
        if (until - event->time > query.resolution) {
            ASSERT_EQ(answer, *event);
            ASSERT_TRUE(isLast || std::binary_search(answers.begin(), answers.end(), *(event + 1),
                                                     [](const Answer& left, const Answer& right) {
                                                         return left.time < right.time;
                                                     }));
        }
    }
    for (const Answer& answer : answers) {
        const auto behind = std::upper_bound(events.begin(), events.end(), answer.time, isLater);
        ASSERT_NE(behind, events.begin());
        ASSERT_EQ((behind - 1)->time, answer.time) << "an answer starts with a change";
        if (answer.value == Answer::kDense) {
            ASSERT_NE(behind, events.end());
            ASSERT_LE(behind->time - answer.time, query.resolution) << "one change is not dense";
        }
    }
}

/// A tree and its model under one random stream of changes.
class Comparison
{
public:
    explicit Comparison(unsigned long long seed) : m_random(Tracewell::seeded(seed)) {}

    void run()
    {
        const auto capacity = static_cast<unsigned short>(2 + below(4));
        const auto fanOut = static_cast<unsigned short>(2 + below(3));
        SmallTree tree(m_manager, capacity, fanOut);
        m_time = below(3) == 0 ? below(1LL << 60) : below(5);
        const long long kind = below(5);
        for (long long count = below(4) == 0 ? below(12) : below(400); count > 0; --count) {
            m_time += step(kind);
            const int value = static_cast<int>(below(3));
            for (const int change : {value ^ 1, value}) {
                if (change == value || below(8) == 0) {
                    add(tree, change);
                }
                if (below(8) == 0) {
                    check(tree);
                }
                if (::testing::Test::HasFatalFailure()) {
                    return;
                }
            }
        }
        for (int i = 0; i < 20; ++i) {
            check(tree);
        }
    }

private:
    long long below(long long bound)
    {
        return static_cast<long long>(m_random() % static_cast<unsigned long long>(bound));
    }

    /// A clock, a busy signal, bursts, rare gaps beyond 32 bits, anything.
    long long step(long long kind)
    {
        const long long steps[] = {10, below(3), below(20) == 0 ? 1000 + below(1000) : below(4),
                                   below(10) == 0 ? (1LL << 33) + below(100) : below(3) * 5,
                                   below(100)};
        return steps[kind];
    }

    void add(SmallTree& tree, int value)
    {
        tree.addValueWithFilter(m_time, static_cast<unsigned char>(value));
        m_history.add(m_time, value);
        ASSERT_EQ(tree.getLastValueTime(), m_history.getLast().time);
        ASSERT_EQ(tree.getLastValue(), m_history.getLast().value);
    }

    void check(const SmallTree& tree)
    {
        const Answers& events = m_history.getEvents();
        if (events.empty()) {
            return;
        }
        const long long firstTime = events.front().time;
        const long long span = std::max(1LL, events.back().time - firstTime);
        const long long resolutions[] = {0,        1,    2,        3,        5,       9,
                                         10,       11,   50,       999,      1500,    1LL << 33,
                                         span - 1, span, span + 1, span / 3, span * 2};
        Query query;
        query.resolution = resolutions[below(17)];
        query.fromTime = below(6) == 0 ? events.back().time + below(20)
                                       : firstTime + below(span + 2) - 1 - below(3);
        query.latestTime =
            events.back().time + (below(2) == 0 ? below(30) : query.resolution + below(3));
        query.toTime = below(2) == 0 ? -1 : std::max(1LL, query.fromTime) + below(span + 2);
        expectSound(events, tree, query);
    }

    std::mt19937_64 m_random;
    BlockRecorder m_manager;
    History m_history;
    long long m_time = 0;
};

TEST(ScalarTreeModel, randomHistoriesAreAnsweredWithoutLoss)
{
    for (unsigned long long seed = 1; seed <= 1000; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        Comparison(seed).run();
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(ScalarTreeModel, seamsOfTheProductionShapeAreCrossed)
{
    BlockRecorder manager;
    WdbScalarBTree tree(0, manager);
    constexpr long long kRecord = WdbScalarTreeRecord::kCapacity;
    constexpr long long kCount = kRecord * 1025 + 1;
    Answers events;
    long long time = 1LL << 53;
    for (long long i = 0; i < kCount; ++i) {
        time += i % 4099 == 4098 ? 5000 : 1 + i % 7;
        events.push_back({time, static_cast<int>(i % 2)});
        tree.addValueWithFilter(time, static_cast<unsigned char>(i % 2));
    }
    EXPECT_EQ(manager.m_handles.size(), 1025u) << "the open record is not yet stored";
    EXPECT_TRUE(ask(tree, 0, 0, time) == events);
    EXPECT_EQ(manager.m_handles.size(), 1026u);
    for (const long long index :
         {0LL, 1LL, kRecord - 1, kRecord, 1024 * kRecord - 1, 1024 * kRecord, kCount - 1}) {
        const long long at = events[static_cast<std::size_t>(index)].time;
        for (const long long resolution : {0LL, 3LL, 7LL, 100LL, 5000LL}) {
            expectSound(events, tree, {at, resolution, time + 1, at + 20000});
        }
    }
    const unsigned int reads = manager.m_reads;
    EXPECT_EQ(ask(tree, 0, 5000, time), (Answers{{events.front().time, Answer::kDense}}));
    EXPECT_EQ(manager.m_reads, reads) << "what is dense is not read";
}

} // namespace
} // namespace Tracewell
