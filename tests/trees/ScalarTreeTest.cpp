// SPDX-License-Identifier: BSD-3-Clause

#include "ScalarTreeTesting.h"
#include "testing/TestFiles.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tracewell {
namespace {

constexpr long long kEndOfTime = std::numeric_limits<long long>::max();

class ScalarTree : public ::testing::Test
{
protected:
    void add(const Answers& events)
    {
        for (const Answer& event : events) {
            m_tree.addValueWithFilter(event.time, static_cast<unsigned char>(event.value));
        }
    }
    /// Changes at 0, 10, 20 ... with the values 0, 1, 0 ...
    void addClock(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
        }
    }
    Answers getAll() const { return ask(m_tree, 0, 0, kEndOfTime); }

    BlockRecorder m_manager;
    WdbScalarBTree m_tree{0x1234, m_manager};
};

TEST_F(ScalarTree, filterDropsWhatChangesNothingAndOneStepBackIsKnown)
{
    EXPECT_EQ(getAll(), Answers());
    add({{0, 1}, {5, 1}, {10, 2}, {10, 3}, {20, 4}, {20, 3}, {30, 4}});
    EXPECT_EQ(getAll(), (Answers{{0, 1}, {10, 3}, {30, 4}}));
    EXPECT_EQ(ask(m_tree, 29, 0, 100, 29), (Answers{{10, 3}}));
    EXPECT_EQ(m_manager.m_handles.size(), 0u) << "a short history needs no block";
    m_tree.updateValue(9);
    for (int i = 0; i < 2; ++i) {
        m_tree.deleteLastValue();
        EXPECT_EQ(m_tree.getLastValueTime(), 10);
        EXPECT_EQ(m_tree.getLastValue(), 3);
    }
    static_assert(sizeof(WdbScalarBTree) <= 128, "a viewer holds a hundred thousand");
}

TEST_F(ScalarTree, deletedValuesOfAStoredRecordAreGone)
{
    SmallTree tree(m_manager, 3, 2);
    for (int i = 0; i < 11; ++i) {
        tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
    }
    EXPECT_EQ(ask(tree, 90, 0, 200), (Answers{{90, 1}, {100, 0}}));
    for (int i = 0; i < 3; ++i) {
        tree.deleteLastValue();
    }
    EXPECT_EQ(ask(tree, 95, 0, 200), (Answers{{80, 0}})) << "closed records stay";
    tree.updateValue(5);
    EXPECT_EQ(ask(tree, 95, 0, 200), (Answers{{80, 5}}));
}

TEST_F(ScalarTree, emptiedOrResetTreeTakesTheSameEventsAgain)
{
    m_tree.setBitPosition(3);
    for (const int count : {1, 2, 3000}) {
        addClock(count);
        for (int i = 0; i < 3; ++i) {
            m_tree.deleteLastValue();
        }
        if (count == 3000) {
            m_tree.reset();
        }
        EXPECT_TRUE(m_tree.isEmpty());
        EXPECT_EQ(m_tree.getLastValueTime(), -1);
        EXPECT_EQ(getAll(), Answers());
    }
    addClock(3);
    EXPECT_EQ(getAll(), (Answers{{0, 0}, {10, 1}, {20, 0}}));
    EXPECT_EQ(m_tree.getAddress(), 0x1234);
    const std::unique_ptr<WdbScalarBTree::Iterator> iterator(m_tree.find(0, 0, 20, -1));
    EXPECT_EQ(iterator->convertToByte(1), 8);
}

TEST_F(ScalarTree, equalTimesGiveTheLaterValue)
{
    for (int i = 0; i < 5000; ++i) {
        m_tree.addValue(i < 4990 ? 5 : i, static_cast<unsigned char>(i % 100));
    }
    for (const long long resolution : {0LL, 4983LL}) {
        const Answers answers = ask(m_tree, 0, resolution, 5000);
        EXPECT_EQ(answers.front(), (Answer{5, 89})) << resolution;
        EXPECT_EQ(answers[1].time, 4990);
    }
}

TEST_F(ScalarTree, nodeWithoutLengthIsAnsweredByItsRecords)
{
    SmallTree tree(m_manager, 1, 2);
    tree.addValue(5, 1);
    tree.addValue(9, 2);
    tree.deleteLastValue(); // the gap of 4 stays behind in the node
    for (const int time : {5, 5, 30, 60}) {
        tree.addValue(time, static_cast<unsigned char>(time));
    }
    EXPECT_EQ(ask(tree, 0, 4, 100), (Answers{{5, 5}, {30, 30}, {60, 60}}));
}

TEST_F(ScalarTree, stretchesBeforeTimeZeroKeepTheirEnds)
{
    SmallTree tree(m_manager, 4, 3);
    Answers expected;
    for (int time = -1000; time <= 1000; time += 100) {
        for (int i = 0; i < 5; ++i) {
            tree.addValue(time + 4 * i, static_cast<unsigned char>(i));
        }
        expected.push_back({time, Answer::kDense});
        expected.push_back({time + 16, 4});
    }
    EXPECT_EQ(ask(tree, -2000, 5, 2000), expected);
}

TEST_F(ScalarTree, timesAtTheEndsOfTheScaleDoNotOverflow)
{
    m_tree.addValue(0, 1);
    m_tree.addValue(kEndOfTime - 1, 2);
    for (const long long from : {std::numeric_limits<long long>::min(), kEndOfTime}) {
        EXPECT_EQ(ask(m_tree, from, kEndOfTime - 2, kEndOfTime, kEndOfTime).back().value, 2);
    }
    m_tree.reset();
    for (int i = 0; i < 5000; ++i) {
        m_tree.addValue(std::numeric_limits<long long>::min() + i, static_cast<unsigned char>(i));
    }
    m_tree.addValue(kEndOfTime, 1);
    EXPECT_EQ(ask(m_tree, std::numeric_limits<long long>::min(), 0, kEndOfTime).size(), 5001u);
    EXPECT_FALSE(ask(m_tree, kEndOfTime, kEndOfTime, kEndOfTime).empty());
}

/// A record as it must lie in its block.
std::string layOut(long long length, long long gap, const Answers& events)
{
    std::string times;
    std::string values;
    for (const Answer& event : events) {
        times += littleEndian(static_cast<unsigned long long>(event.time), 8);
        values += static_cast<char>(event.value);
    }
    return words(length, gap, events.size()) + padded(times, 16384) + padded(values, 2048) +
           words(1);
}

TEST_F(ScalarTree, recordsLieInTheirBlocksAsLaidOut)
{
    addClock(2048);
    const Answers clock = getAll();
    EXPECT_EQ(m_manager.m_handles.size(), 0u) << "a full record stays open";
    add({{1LL << 40, 0x5A}});
    ASSERT_EQ(m_manager.m_handles.size(), 1u);
    EXPECT_TRUE(m_manager.getBytes(0) == layOut(1LL << 40, (1LL << 40) - 20470, clock));

    getAll();
    getAll();
    ASSERT_EQ(m_manager.m_handles.size(), 2u);
    EXPECT_EQ(m_manager.m_rewrites, 0u) << "an unchanged record is not stored twice";
    add({{(1LL << 40) + 7, 0xA5}});
    getAll();
    EXPECT_EQ(m_manager.m_rewrites, 1u);
    EXPECT_TRUE(m_manager.getBytes(1) ==
                layOut(7, 7, {{1LL << 40, 0x5A}, {(1LL << 40) + 7, 0xA5}}));

    m_tree.reset();
    addClock(2048);
    add({{30000, 7}, {30000, 1}, {40000, 3}});
    EXPECT_TRUE(m_manager.getBytes(2) == layOut(40000, 40000 - 20470, clock))
        << "the next change that stays decides how far a closed record reaches";
}

TEST_F(ScalarTree, damagedRecordStaysWithinItsBuffer)
{
    addClock(2048 * 3);
    for (const char count : {'\0', '\xFF'}) {
        for (const std::size_t block : {0u, 1u}) {
            std::string bytes = m_manager.getBytes(block);
            bytes.replace(16, 8, 8, count);
            m_manager.putBlock(m_manager.m_handles[block], bytes.data(), bytes.size());
        }
        EXPECT_FALSE(getAll().empty());
    }
}

TEST_F(ScalarTree, iteratorSeesTheIndexOfItsStart)
{
    SmallTree tree(m_manager, 3, 2);
    const auto addMore = [&tree](int first, int count) {
        for (int i = first; i < first + count; ++i) {
            tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
        }
    };
    addMore(0, 100);
    std::unique_ptr<WdbScalarBTree::Iterator> iterator(tree.find(0, 0, 990, -1));
    addMore(100, 300);
    const Answers answers = drain(*iterator);
    ASSERT_GE(answers.size(), 100u);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        ASSERT_EQ(answers[i].time, static_cast<long long>(i) * 10);
    }
    EXPECT_LE(answers.size(), 102u);
}

} // namespace
} // namespace Tracewell
