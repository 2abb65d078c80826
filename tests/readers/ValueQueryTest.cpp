// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "WdbMemoryBlockManager.h"
#include "WdbStaticReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Tracewell {
namespace {

constexpr long long kBlank = -1;
constexpr long long kDense = -2;

/// One answer as plain numbers: time, and a byte, kBlank or kDense for each column.
using Row = std::pair<long long, std::vector<long long>>;

long long flatten(const WdbByteValue& value)
{
    return value.isBlank() ? kBlank : value.isDenseDraw() ? kDense : value.getValue();
}

Row flatten(const WdbTimeByteValues& values, std::size_t columns)
{
    Row row(values.getTime(), {});
    for (unsigned int i = 0; i < columns; ++i) {
        row.second.push_back(flatten(values.getValueAt(i)));
    }
    return row;
}

/// A reader of nothing, asked about trees of the test's own. The latest time is 0, which only
/// shows where a tree's answers end.
class ValueQuery : public ::testing::Test
{
protected:
    void addTree(const History& history)
    {
        m_trees.push_back(std::make_unique<WdbScalarBTree>(0, m_manager));
        for (const auto& event : history) {
            m_trees.back()->addValueWithFilter(event.first,
                                               static_cast<unsigned char>(event.second));
        }
        m_columns.push_back(m_trees.back().get());
    }

    std::vector<Row> ask(long long from, long long to, long long resolution)
    {
        std::vector<WdbTimeByteValues> out;
        m_reader.getValueEvents(from, to, resolution, m_columns, out);
        std::vector<Row> rows;
        for (const WdbTimeByteValues& values : out) {
            rows.push_back(flatten(values, m_columns.size()));
        }
        return rows;
    }

    /// The same from the trees' answers one by one, gathered beforehand and sorted.
    std::vector<Row> askOneByOne(long long from, long long to, long long resolution)
    {
        struct Answer
        {
            long long time;
            std::size_t column;
            long long value;
        };
        Row row(0, std::vector<long long>(m_columns.size(), kBlank));
        std::vector<Answer> later;
        bool any = false;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            const std::unique_ptr<WdbScalarBTree::Iterator> answer(
                m_columns[i]->find(from, resolution, 0, to));
            bool first = true;
            for (; *answer && answer->getTime() <= to; ++*answer, first = false) {
                const long long value = flatten((**answer).getByteValue());
                if (first) {
                    row.first = std::max(row.first, answer->getTime());
                    row.second[i] = value;
                    any = true;
                } else {
                    later.push_back({answer->getTime(), i, value});
                }
            }
        }
        std::vector<Row> rows;
        if (any) {
            rows.push_back(row);
        }
        std::stable_sort(later.begin(), later.end(),
                         [](const Answer& a, const Answer& b) { return a.time < b.time; });
        for (std::size_t i = 0; i < later.size();) {
            row.first = later[i].time;
            const std::vector<long long> before = row.second;
            for (; i < later.size() && later[i].time == row.first; ++i) {
                row.second[later[i].column] = later[i].value;
            }
            if (row.second != before) {
                rows.push_back(row);
            }
        }
        return rows;
    }

    std::vector<WdbScalarBTree*> m_columns;

private:
    WdbMemoryBlockManager m_manager;
    std::vector<std::unique_ptr<WdbScalarBTree>> m_trees;
    WdbStaticReader m_reader;

protected:
    const WdbIEventReader& m_queries = m_reader;
};

History makeHistory(std::mt19937& random)
{
    History history;
    long long time = pick(random, 300);
    for (int count = pick(random, 4) == 0 ? 0 : pick(random, 60); count > 0; --count) {
        history.emplace_back(time, pick(random, 3));
        time += pick(random, 5) == 0 ? 40 + pick(random, 200) : pick(random, 4);
    }
    return history;
}

TEST_F(ValueQuery, answersAreThoseOfTheTreesInTimeOrder)
{
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(Tracewell::seeded(seed));
        m_columns.clear();
        for (int columns = pick(random, 8); columns > 0; --columns) {
            addTree(makeHistory(random));
        }
        for (int query = 0; query < 20; ++query) {
            const long long from = pick(random, 1500);
            const long long to = from + pick(random, 1500);
            const long long resolution = pick(random, 2) == 0 ? 0 : pick(random, 100);
            ASSERT_EQ(ask(from, to, resolution), askOneByOne(from, to, resolution));
        }
    }
}

TEST_F(ValueQuery, findsValuesAndNeighboursInTime)
{
    EXPECT_EQ(m_queries.getNextEvent(5, m_columns), 0);
    EXPECT_EQ(m_queries.getPreviousEvent(5, m_columns), 0);
    addTree({});
    addTree({{0, 1}, {10, 2}, {20, 3}});
    addTree({{15, 7}, {40, 8}});
    const auto valuesAt = [&](long long time) {
        WdbTimeByteValues values(0);
        m_queries.getValueEvent(time, m_columns, values);
        return flatten(values, m_columns.size());
    };
    EXPECT_EQ(valuesAt(14), (Row{10, {kBlank, 2, kBlank}}));
    EXPECT_EQ(valuesAt(15), (Row{15, {kBlank, 2, 7}}));
    EXPECT_EQ(valuesAt(1000), (Row{40, {kBlank, 3, 8}}));

    const auto next = [&](long long time) { return m_queries.getNextEvent(time, m_columns); };
    EXPECT_EQ(next(-1), 0);
    EXPECT_EQ(next(10), 15);
    EXPECT_EQ(next(15), 20);
    EXPECT_EQ(next(20), 20) << "the first tree with events has the first word";
    const auto previous = [&](long long time) {
        return m_queries.getPreviousEvent(time, m_columns);
    };
    EXPECT_EQ(previous(1000), 40);
    EXPECT_EQ(previous(40), 20);
    EXPECT_EQ(previous(15), 15) << "before a tree's first event its first event is the answer";
    m_columns.pop_back();
    EXPECT_EQ(previous(10), 0);
}

} // namespace
} // namespace Tracewell
