// SPDX-License-Identifier: BSD-3-Clause

#include "DataBaseFixture.h"
#include "TransitionCapture.h"
#include "TransitionQueries.h"

#include <gmock/gmock.h>

#include <iterator>
#include <limits>
#include <thread>

namespace Tracewell {
namespace {

using ::testing::ElementsAre;
using Entry = std::tuple<long long, ValueType, unsigned long long>;

constexpr long long kForever = std::numeric_limits<long long>::max();

Entry entryOf(const Transition& transition)
{
    return {transition.time, transition.value.getType(), transition.value.getBits()};
}

std::vector<Entry> draw(DataBase& base, unsigned int id, long long from, long long to,
                        long long minDelta)
{
    std::vector<Transition> out;
    base.getTransitions(id, from, to, minDelta, out);
    std::vector<Entry> entries;
    std::transform(out.begin(), out.end(), std::back_inserter(entries), entryOf);
    return entries;
}

void addInts(DataBase& base, unsigned int id, std::initializer_list<long long> times)
{
    for (const long long time : times) {
        base.addTransitionToDB(id, time,
                               valueOf(ValueInt32, static_cast<unsigned long long>(time) + 1000));
    }
}

Entry intAt(long long time)
{
    return {time, ValueInt32, static_cast<unsigned long long>(time + 1000)};
}

Entry noneAt(long long time)
{
    return {time, ValueNone, 0};
}

class Query : public DataBaseFixture
{};

TEST_F(Query, objectsWithoutTransitionsAnswerWithTheirInitialValue)
{
    const auto base = open(DataBaseMode::Writer);
    EXPECT_EQ(entryOf(base->getCurrentTransition(7, 5)), noneAt(5));
    EXPECT_THAT(draw(*base, 7, 5, 9, 1), ElementsAre(noneAt(0)));
    base->addVhdlStdLogicTransitionToDB(7, 0, 3);
    addInts(*base, 8, {100});
    const Entry initial{0, ValueByte, 3};
    EXPECT_EQ(entryOf(base->getCurrentTransition(7, 5)), initial);
    EXPECT_EQ(entryOf(base->getPrevTransition(7, 5)), initial);
    EXPECT_EQ(entryOf(base->getNextTransition(7, 5)), noneAt(5));
    long long first = 1;
    long long last = 1;
    ValueType kind = ValueNone;
    EXPECT_TRUE(base->getTransInfo(7, first, last, kind));
    EXPECT_EQ(std::make_tuple(first, last, kind), std::make_tuple(0LL, 0LL, ValueStdLogic));
    EXPECT_FALSE(base->getTransInfo(9, first, last, kind));
    EXPECT_THAT(draw(*base, 7, 5, 50, 1), ElementsAre(initial));
    EXPECT_THAT(draw(*base, 7, 5, 500, 1), ElementsAre(initial, noneAt(100)));
    EXPECT_THAT(draw(*base, 7, 100, 500, 1), ElementsAre(noneAt(100)));
}

TEST_F(Query, savedAndOpenNineStateClocksDifferInKindAndCodes)
{
    const auto base = open(DataBaseMode::Writer);
    for (int i = 0; i <= 2048; ++i) {
        base->addVhdlStdLogicTransitionToDB(1, 10 + 10 * i, static_cast<char>(2 + i % 2));
    }
    const auto kindOf = [](DataBase& of) {
        long long first = 0;
        long long last = 0;
        ValueType kind = ValueNone;
        EXPECT_TRUE(of.getTransInfo(1, first, last, kind));
        EXPECT_EQ(last, 20490);
        return kind;
    };
    EXPECT_EQ(kindOf(*base), ValueVlog);
    base->saveTransitionToDisk();
    const auto viewer = open(DataBaseMode::Viewer);
    EXPECT_EQ(kindOf(*viewer), ValueStdLogic);
    EXPECT_EQ(entryOf(viewer->getCurrentTransition(1, 9)), noneAt(9));
    EXPECT_EQ(entryOf(viewer->getCurrentTransition(1, 25)), Entry(20, ValueByte, 1));
    EXPECT_EQ(entryOf(viewer->getCurrentTransition(1, kForever)), Entry(20490, ValueByte, 2));
    EXPECT_EQ(entryOf(viewer->getPrevTransition(1, 20490)), Entry(20480, ValueByte, 1));
    EXPECT_EQ(entryOf(viewer->getNextTransition(1, 20480)), Entry(20490, ValueByte, 2));
    // No argument is out of range.
    for (const long long from : {0LL, kForever, -kForever - 1}) {
        for (const long long to : {30000LL, kForever, -kForever - 1}) {
            for (const long long minDelta : {10LL, kForever, -kForever - 1}) {
                EXPECT_LT(draw(*viewer, 1, from, to, minDelta).size(), 2052U);
            }
        }
    }
}

TEST_F(Query, drawingHidesRunsAndSaysWhereDataEnds)
{
    const auto base = open(DataBaseMode::Writer);
    addInts(*base, 1, {10, 11, 12, 40, 70, 71});
    addInts(*base, 2, {200});
    const auto denseAt = [](long long time) {
        return Entry{time, ValueDense, static_cast<unsigned long long>(time + 1000)};
    };
    const Entry opening = intAt(12);
    const auto check = [&](DataBase& of) {
        EXPECT_THAT(draw(of, 1, 5, 60, 0),
                    ElementsAre(intAt(10), intAt(11), intAt(12), intAt(40), noneAt(59)));
        EXPECT_THAT(draw(of, 1, 5, 60, 5),
                    ElementsAre(denseAt(10), intAt(12), intAt(40), noneAt(59)));
        EXPECT_THAT(draw(of, 1, 20, 50, 5), ElementsAre(opening, intAt(40), noneAt(49)));
        // The closing run reaches the end of the range when the next transition is that close.
        EXPECT_THAT(draw(of, 1, 5, 38, 28),
                    ElementsAre(denseAt(10), Entry(37, ValueInt32, 1012), noneAt(37)));
        // Past the last transition its value holds up to the latest time.
        EXPECT_THAT(draw(of, 1, 60, 300, 5),
                    ElementsAre(intAt(40), denseAt(70), intAt(71), noneAt(200)));
        EXPECT_THAT(draw(of, 1, 80, 300, 5), ElementsAre(intAt(71), noneAt(200)));
        // A transition exactly at the end of all data loses its value.
        EXPECT_THAT(draw(of, 2, 150, 300, 5), ElementsAre(noneAt(200)));
        // The start of a block is not tested against the end.
        EXPECT_THAT(draw(of, 2, 150, 200, 5), ElementsAre(intAt(200)));
    };
    check(*base);
    // An open buffer opens with the value before a transition at the start, a tree does not.
    EXPECT_THAT(draw(*base, 1, 40, 60, 5), ElementsAre(opening, intAt(40), noneAt(59)));
    base->saveTransitionToDisk();
    const auto viewer = open(DataBaseMode::Viewer);
    check(*viewer);
    EXPECT_THAT(draw(*viewer, 1, 40, 60, 5), ElementsAre(intAt(40), noneAt(59)));
    EXPECT_THAT(draw(*viewer, 1, 200, 300, 5), ElementsAre(noneAt(200)));
    EXPECT_THAT(draw(*viewer, 1, 0, 9, 5), ElementsAre(noneAt(0)));
    // Everything closer than a pixel is one run, whatever it holds.
    EXPECT_THAT(draw(*viewer, 1, 0, 300, 100), ElementsAre(denseAt(10), intAt(71), noneAt(200)));
}

TEST_F(Query, theEndOfARunHasTheKindOfAnObjectWithoutStoredValues)
{
    for (const ValueType kind : {ValueUInt32, ValueUInt64, ValueString}) {
        SCOPED_TRACE(kind);
        const auto base = open(DataBaseMode::Writer);
        for (const long long time : {10, 11, 12, 40, 70}) {
            Value value = valueOf(ValueUInt64, 5);
            if (kind == ValueString) {
                value.setString("text");
            } else {
                value.setBits(kind, 5);
            }
            base->addTransitionToDB(1, time, value);
        }
        base->addTransitionToDB(DataBase::kTimeMarkId, 100, Value());
        base->saveTransitionToDisk();
        const auto viewer = open(DataBaseMode::Viewer);
        EXPECT_THAT(draw(*viewer, 1, 5, 60, 0),
                    ElementsAre(noneAt(10), noneAt(11), noneAt(12), noneAt(40), noneAt(59)));
        std::vector<Transition> drawn;
        viewer->getTransitions(1, 5, 60, 5, drawn);
        ASSERT_EQ(drawn.size(), 4U);
        EXPECT_EQ(entryOf(drawn[0]), Entry(10, ValueDense, 0));
        EXPECT_EQ(drawn[1].time, 12);
        EXPECT_EQ(drawn[1].value.getType(), kind);
        EXPECT_EQ(entryOf(drawn[2]), noneAt(40));
        EXPECT_EQ(entryOf(drawn[3]), noneAt(59));
    }
}

TEST_F(Query, traversalWritesTreesAndTheInitialValuesBeforeThem)
{
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.path(""));
    const auto base = open(DataBaseMode::Writer);
    base->addVlogTransitionToDB(2, 0, 3);
    addInts(*base, 4, {5, 9});
    base->addTransitionToDB(6, 8, valueOf(ValueInt64, static_cast<unsigned long long>(-7)));
    base->addTransitionToDB(7, 0, valueOf(ValueDouble, 0x3FE0000000000000));
    base->addTransitionToDB(8, 3, valueOf(ValueUInt32, 1));
    base->addVlogTransitionToDB(9, 0, 1);
    base->saveTransitionToDisk();
    open(DataBaseMode::Viewer)->traverseAllTransition();
    EXPECT_EQ(readFile("zsim.dir/readTransition.txt"),
              "2 0 3\n4 5 1005\n4 9 1009\n6 8 -7\n7 0 0.5\n8 3 value type 0\n");

    base->restartDatabase();
    base->addVlogTransitionToDB(2, 0, 1);
    base->addVlogTransitionToDB(0x7FF00000, 0, 2);
    addInts(*base, 0x7FFFFFFF, {0});
    base->saveTransitionToDisk();
    base->traverseAllTransition();
    EXPECT_EQ(readFile("zsim.dir/readTransition.txt"),
              "2 0 1\n2146435072 0 2\n2147483647 0 1000\n");
    std::filesystem::current_path(former);
}

// With room for two buffers, three objects in turn make a leaf of each transition.
TEST_F(Query, deepTreesAnswerOnBothSidesOfEveryLeaf)
{
    constexpr long long kLeaves = 2 * 2048 + 10;
    const auto base = open(DataBaseMode::Writer, {0, 0, 0, 2});
    for (long long i = 1; i <= kLeaves; ++i) {
        for (const unsigned int id : {1U, 2U, 3U}) {
            addInts(*base, id, {i * 10});
        }
    }
    base->saveTransitionToDisk();
    const auto viewer = open(DataBaseMode::Viewer, {0, 0, 0, 2});
    EXPECT_EQ(entryOf(viewer->getNextTransition(2, 3)), intAt(10));
    EXPECT_EQ(entryOf(viewer->getPrevTransition(2, 10)), noneAt(10));
    for (long long time = 20; time < kLeaves * 10; time += 10) {
        ASSERT_EQ(entryOf(viewer->getCurrentTransition(2, time + 9)), intAt(time));
        ASSERT_EQ(entryOf(viewer->getCurrentTransition(2, time)), intAt(time));
        ASSERT_EQ(entryOf(viewer->getNextTransition(2, time)), intAt(time + 10));
        ASSERT_EQ(entryOf(viewer->getNextTransition(2, time + 1)), intAt(time + 10));
        ASSERT_EQ(entryOf(viewer->getPrevTransition(2, time)), intAt(time - 10));
        ASSERT_EQ(entryOf(viewer->getPrevTransition(2, time + 1)), intAt(time));
    }
    // A leaf of one transition has no gap but the one before it: a range shows each of them.
    EXPECT_EQ(draw(*viewer, 2, 0, kLeaves * 10 + 1, 0).size(), std::size_t{kLeaves});
    EXPECT_EQ(draw(*viewer, 2, 0, kLeaves * 10 + 1, 11).size(), 3U);
}

TEST_F(Query, growingIntoABlockOfATwinOnAnotherPageLosesNothing)
{
    // Two blocks of each size: the third object to take one evicts the first.
    const auto writer = open(DataBaseMode::Writer, {0, 10'000, 10'000, 2});
    constexpr unsigned int kTwin = 5 + (1U << 16);
    addInts(*writer, kTwin, {1, 2, 3});
    addInts(*writer, 6, {1, 2, 3});
    addInts(*writer, 5, {1, 2, 3});
    EXPECT_THAT(draw(*writer, 5, 0, 3, 0), ElementsAre(intAt(1), intAt(2)));
    EXPECT_THAT(draw(*writer, kTwin, 0, 3, 0), ElementsAre(intAt(1), intAt(2)));
}

TEST_F(Query, queriesRunBesideTheStoringThread)
{
    constexpr DataBaseLimits kTiny{20'000, 10'000, 10'000, 2};
    constexpr std::uint32_t kObjects = 80;
    constexpr long long kSteps = 1500;
    TransitionStore store(DataBaseMode::StoringReader, fileName(), kTiny, [] {});
    TransitionCapture capture(store, kTiny);
    TransitionQueries queries(store);
    std::atomic<bool> isDone{false};
    std::thread storing([&] {
        for (long long time = 1; time <= kSteps; ++time) {
            for (std::uint32_t id = 1; id <= kObjects; ++id) {
                const MutexLock lock(store.stripe(id));
                capture.saveVhdlStdLogicTransInDB(id, time, static_cast<char>(time % 16));
            }
        }
        isDone = true;
    });
    const auto ask = [&](std::uint32_t id) {
        do {
            id = id % kObjects + 1;
            long long first = 0;
            long long last = 0;
            ValueType kind = ValueNone;
            if (!queries.getTransInfo(id, first, last, kind)) {
                continue;
            }
            for (const long long time : {first, (first + last) / 2, last}) {
                const Transition found = queries.getCurrentTransition(id, time);
                EXPECT_EQ(entryOf(found), Entry(time, ValueByte, time % 16));
            }
            std::vector<Transition> out;
            queries.getTransitions(id, 1, last, 0, out);
            EXPECT_GE(out.size(), static_cast<std::size_t>(last - 1));
        } while (!isDone);
    };
    std::thread asking(ask, 40);
    ask(0);
    asking.join();
    storing.join();
}

} // namespace
} // namespace Tracewell
