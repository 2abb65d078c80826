#include "ScalarTreeTesting.h"
#include "WdbTimeByteValueTemplate.h"
#include "WdbTimeByteValues.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace Tracewell {
namespace {

constexpr long long kEndOfTime = std::numeric_limits<long long>::max();

class ScalarTree : public ::testing::Test
{
protected:
    void add(const Answers& events)
    {
        for (const Answer& event : events)
            m_tree.addValueWithFilter(event.time, static_cast<unsigned char>(event.value));
    }
    /// Changes at 0, 10, 20 ... with the values 0, 1, 0 ...
    void addClock(int count)
    {
        for (int i = 0; i < count; ++i)
            m_tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
    }
    Answers getAll() const { return ask(m_tree, 0, 0, kEndOfTime); }

    BlockRecorder m_manager;
    WdbScalarBTree m_tree{0x1234, m_manager};
};

TEST(ScalarValues, bytesCountOnlyBetweenValues)
{
    WdbByteValue value;
    WdbByteValue dense;
    EXPECT_TRUE(value.isBlank());
    value.setValue(0x5A);
    dense.setDenseDraw();
    EXPECT_FALSE(value == dense);
    value.setDenseDraw();
    EXPECT_TRUE(value == dense);
    EXPECT_FALSE(value.isBlank());
    EXPECT_EQ(value.getValue(), 0x5A);

    WdbTimeByteValues values(3);
    values.setValueAt(0, value);
    values.setValueAt(1, value);
    EXPECT_TRUE(values.hasBlank());
    values.setValueAt(2, value);
    EXPECT_FALSE(values.hasBlank());
    EXPECT_TRUE(values.hasDenseDraw());
    EXPECT_THROW(values.getValueAt(3), std::out_of_range);
    EXPECT_FALSE(WdbTimeByteValues(0).hasBlank() || WdbTimeByteValues(0).hasDenseDraw());
    static_assert(sizeof(WdbTimeByteValueTemplate<2048>) == 18432);
}

TEST_F(ScalarTree, shortHistoriesNeedNoBlock)
{
    EXPECT_TRUE(m_tree.isEmpty());
    EXPECT_EQ(getAll(), Answers());
    add({{7, 3}});
    EXPECT_EQ(getAll(), (Answers{{7, 3}}));
    EXPECT_EQ(ask(m_tree, 100, 50, 1000), (Answers{{7, 3}}));
    EXPECT_EQ(ask(m_tree, 0, 0, 100, 6), Answers()) << "it lies behind the view";
    add({{20, 4}});
    EXPECT_EQ(ask(m_tree, 0, 0, 100), (Answers{{7, 3}, {20, 4}}));
    EXPECT_EQ(ask(m_tree, 19, 0, 100), (Answers{{7, 3}, {20, 4}}));
    EXPECT_EQ(ask(m_tree, 20, 0, 100), (Answers{{20, 4}}));
    EXPECT_EQ(ask(m_tree, 0, 0, 100, 19), (Answers{{7, 3}}));
    EXPECT_EQ(m_manager.getCount(), 0u);
    static_assert(sizeof(WdbScalarBTree) <= 128, "a viewer holds a hundred thousand");
}

TEST_F(ScalarTree, filterDropsWhatChangesNothing)
{
    add({{0, 1}, {5, 1}, {10, 2}, {10, 3}, {20, 4}, {20, 3}, {30, 4}});
    EXPECT_EQ(getAll(), (Answers{{0, 1}, {10, 3}, {30, 4}}));
    m_tree.updateValue(9);
    m_tree.deleteLastValue();
    EXPECT_EQ(m_tree.getLastValueTime(), 10);
    EXPECT_EQ(m_tree.getLastValue(), 3);
    m_tree.deleteLastValue();
    EXPECT_EQ(m_tree.getLastValueTime(), 10) << "only one step back is known";
}

TEST_F(ScalarTree, emptiedTreeTakesTheSameEventAgain)
{
    for (const int count : {1, 2}) {
        addClock(count);
        for (int i = 0; i < count + 1; ++i)
            m_tree.deleteLastValue();
        EXPECT_TRUE(m_tree.isEmpty());
        EXPECT_EQ(m_tree.getLastValueTime(), -1);
        EXPECT_EQ(getAll(), Answers());
    }
    add({{0, 0}});
    EXPECT_EQ(getAll(), (Answers{{0, 0}}));
}

TEST_F(ScalarTree, deletedValuesOfAStoredRecordAreGone)
{
    SmallTree tree(m_manager, 3, 2);
    for (int i = 0; i < 11; ++i)
        tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
    EXPECT_EQ(ask(tree, 90, 0, 200), (Answers{{90, 1}, {100, 0}}));
    for (int i = 0; i < 3; ++i)
        tree.deleteLastValue();
    EXPECT_EQ(ask(tree, 95, 0, 200), (Answers{{80, 0}})) << "closed records stay";
    tree.updateValue(5);
    EXPECT_EQ(ask(tree, 95, 0, 200), (Answers{{80, 5}}));
}

TEST_F(ScalarTree, resetForgetsTheHistoryOnly)
{
    m_tree.setBitPosition(3);
    addClock(3000);
    m_tree.reset();
    EXPECT_TRUE(m_tree.isEmpty());
    EXPECT_EQ(getAll(), Answers());
    EXPECT_EQ(m_tree.getAddress(), 0x1234);
    EXPECT_TRUE(m_tree.isBitBTree());
    EXPECT_EQ(m_tree.getBitMask(), 8);
    addClock(3);
    EXPECT_EQ(getAll(), (Answers{{0, 0}, {10, 1}, {20, 0}}));
    const std::unique_ptr<WdbScalarBTree::Iterator> iterator(m_tree.find(0, 0, 20, -1));
    EXPECT_EQ(iterator->convertToByte(1), 8);
}

TEST_F(ScalarTree, oneAnswerForAHistoryBelowTheResolution)
{
    for (const int count : {2, 2048, 2049, 10000}) {
        SCOPED_TRACE(count);
        m_tree.reset();
        addClock(count);
        const long long last = (count - 1) * 10;
        const Answer dense = {0, Answer::kDense};
        EXPECT_EQ(ask(m_tree, 0, last + 1, last + 1), (Answers{dense}));
        EXPECT_EQ(ask(m_tree, 0, last + 1, 3 * last), (Answers{dense, {last, (count - 1) % 2}}))
            << "the value that still holds long after";
    }
}

TEST_F(ScalarTree, denseTailBehindAFarChangeIsNotLost)
{
    SmallTree tree(m_manager, 4, 3);
    for (const int time : {0, 10, 20, 1000, 1001, 1002, 1003})
        tree.addValueWithFilter(time, static_cast<unsigned char>(tree.getLastValue() + 1));
    const Answer dense = {0, Answer::kDense};
    EXPECT_EQ(ask(tree, 0, 50, 5000), (Answers{dense, {20, 3}, {1000, Answer::kDense}, {1003, 7}}));
    EXPECT_EQ(ask(tree, 5000, 50, 5000), (Answers{{1001, Answer::kDense}, {1003, 7}}))
        << "at the end the last record answers for itself";

    for (const int time : {1004, 2000, 2001, 2002, 3000})
        tree.addValueWithFilter(time, static_cast<unsigned char>(tree.getLastValue() + 1));
    EXPECT_EQ(ask(tree, 1003, 50, 5000, 2000).back(), (Answer{2000, 9}))
        << "of a stretch that starts at the view's end the first value shows";
}

TEST_F(ScalarTree, equalTimesGiveTheLaterValue)
{
    for (int i = 0; i < 5000; ++i)
        m_tree.addValue(i < 4990 ? 5 : i, static_cast<unsigned char>(i % 100));
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
    for (const int time : {5, 5, 30, 60})
        tree.addValue(time, static_cast<unsigned char>(time));
    EXPECT_EQ(ask(tree, 0, 4, 100), (Answers{{5, 5}, {30, 30}, {60, 60}}));
}

TEST_F(ScalarTree, stretchesBeforeTimeZeroKeepTheirEnds)
{
    SmallTree tree(m_manager, 4, 3);
    Answers expected;
    for (int time = -1000; time <= 1000; time += 100) {
        for (int i = 0; i < 5; ++i)
            tree.addValue(time + 4 * i, static_cast<unsigned char>(i));
        expected.push_back({time, Answer::kDense});
        expected.push_back({time + 16, 4});
    }
    EXPECT_EQ(ask(tree, -2000, 5, 2000), expected);
}

TEST_F(ScalarTree, timesAtTheEndsOfTheScaleDoNotOverflow)
{
    m_tree.addValue(0, 1);
    m_tree.addValue(kEndOfTime - 1, 2);
    for (const long long from : {std::numeric_limits<long long>::min(), kEndOfTime})
        EXPECT_EQ(ask(m_tree, from, kEndOfTime - 2, kEndOfTime, kEndOfTime).back().value, 2);
    m_tree.reset();
    for (int i = 0; i < 5000; ++i)
        m_tree.addValue(std::numeric_limits<long long>::min() + i, static_cast<unsigned char>(i));
    m_tree.addValue(kEndOfTime, 1);
    EXPECT_EQ(ask(m_tree, std::numeric_limits<long long>::min(), 0, kEndOfTime).size(), 5001u);
    EXPECT_FALSE(ask(m_tree, kEndOfTime, kEndOfTime, kEndOfTime).empty());
}

/// A record as it must lie in its block.
std::string layOut(long long length, long long gap, const Answers& events)
{
    std::string bytes(18464, '\0');
    const auto put = [&bytes](std::size_t offset, long long number) {
        for (std::size_t i = 0; i < 8; ++i)
            bytes[offset + i] =
                static_cast<char>(static_cast<unsigned long long>(number) >> (8 * i));
    };
    put(0, length);
    put(8, gap);
    put(16, static_cast<long long>(events.size()));
    for (std::size_t i = 0; i < events.size(); ++i) {
        put(24 + 8 * i, events[i].time);
        bytes[16408 + i] = static_cast<char>(events[i].value);
    }
    bytes[18456] = 1;
    return bytes;
}

TEST_F(ScalarTree, recordsLieInTheirBlocksAsLaidOut)
{
    addClock(2048);
    const Answers clock = getAll();
    EXPECT_EQ(m_manager.getCount(), 0u) << "a full record stays open";
    add({{1LL << 40, 0x5A}});
    ASSERT_EQ(m_manager.getCount(), 1u);
    EXPECT_TRUE(m_manager.getBytes(1) == layOut(1LL << 40, (1LL << 40) - 20470, clock));

    getAll();
    getAll();
    ASSERT_EQ(m_manager.getCount(), 2u);
    EXPECT_EQ(m_manager.getRewrites(), 0u) << "an unchanged record is not stored twice";
    add({{(1LL << 40) + 7, 0xA5}});
    getAll();
    EXPECT_EQ(m_manager.getRewrites(), 1u);
    EXPECT_TRUE(m_manager.getBytes(2) ==
                layOut(7, 7, {{1LL << 40, 0x5A}, {(1LL << 40) + 7, 0xA5}}));

    m_tree.reset();
    addClock(2048);
    add({{30000, 7}, {30000, 1}, {40000, 3}});
    EXPECT_TRUE(m_manager.getBytes(3) == layOut(40000, 40000 - 20470, clock))
        << "the next change that stays decides how far a closed record reaches";
}

TEST_F(ScalarTree, damagedRecordStaysWithinItsBuffer)
{
    addClock(2048 * 3);
    for (const char count : {'\0', '\xFF'}) {
        for (const long long block : {1LL, 2LL}) {
            std::string bytes = m_manager.getBytes(block);
            bytes.replace(16, 8, 8, count);
            m_manager.putBlock(block, bytes.data(), bytes.size());
        }
        EXPECT_FALSE(getAll().empty());
    }
}

TEST_F(ScalarTree, iteratorSeesTheIndexOfItsStart)
{
    SmallTree tree(m_manager, 3, 2);
    const auto addMore = [&tree](int first, int count) {
        for (int i = first; i < first + count; ++i)
            tree.addValueWithFilter(i * 10, static_cast<unsigned char>(i % 2));
    };
    addMore(0, 100);
    std::unique_ptr<WdbScalarBTree::Iterator> iterator(tree.find(0, 0, 990, -1));
    addMore(100, 300);
    const Answers answers = drain(*iterator);
    ASSERT_GE(answers.size(), 100u);
    for (std::size_t i = 0; i < answers.size(); ++i)
        ASSERT_EQ(answers[i].time, static_cast<long long>(i) * 10);
    EXPECT_LE(answers.size(), 102u);

    WdbScalarBTree young(0, m_manager);
    young.addValueWithFilter(0, 1);
    young.addValueWithFilter(5, 2);
    iterator.reset(young.find(0, 0, 5, -1));
    for (int i = 6; i < 5000; ++i)
        young.addValueWithFilter(i, static_cast<unsigned char>(i % 2));
    EXPECT_EQ(drain(*iterator), (Answers{{0, 1}, {5, 2}}));
}

TEST(ScalarTreeRecord, takesNoMoreThanItsCapacity)
{
    WdbScalarTreeRecord record;
    record.deleteLastValue();
    EXPECT_TRUE(record.isEmpty() && !record.isModified());
    for (int i = 0; i < 3000; ++i)
        record.addTimeValue(100 + i * i, static_cast<unsigned char>(i));
    EXPECT_EQ(record.getTimeLength(), 2047 * 2047);
    EXPECT_EQ(record.getValueAt(2048), 0);
    record.deleteLastValue();
    EXPECT_EQ(record.getIndexLength(), 2046 * 2046);
    EXPECT_EQ(record.getLargestDiff(), 2 * 2046 - 1);
}

} // namespace
} // namespace Tracewell
