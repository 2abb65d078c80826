// SPDX-License-Identifier: BSD-3-Clause

#include "DataBaseFixture.h"
#include "DataBlock.h"
#include "testing/Seed.h"

#include <map>
#include <random>

namespace Tracewell {
namespace {

using History = std::map<long long, unsigned long long>;

constexpr ValueType kKinds[] = {ValueByte, ValueInt32, ValueInt64,   ValueDouble,
                                ValueBit,  ValueVlog,  ValueStdLogic};
constexpr DataBaseLimits kTinyBlocks{800'000'000, 0, 0, 2};
constexpr DataBaseLimits kTinyBuffers{20'000, 20'000, 0, 2};

bool isPacked(ValueType kind)
{
    return kind >= ValueBit;
}

/// Seven kinds in each of four habits: clocks, clocks of five gaps, clocks that pause, and random
/// gaps with a few far jumps; all of them twice, the second time on the generic road.
class QueryModel : public DataBaseFixture
{
protected:
    static constexpr unsigned int kObjects = 56;

    struct Object
    {
        History history;
        long long time = 0;
    };

    static ValueType kindOf(unsigned int id) { return kKinds[id % 7]; }
    static unsigned int habitOf(unsigned int id) { return id / 7 % 4; }
    static bool isClock(unsigned int id) { return habitOf(id) < 3; }

    void add(DataBase& base, unsigned int id, bool evicts)
    {
        Object& object = m_objects[id];
        const unsigned int habit = habitOf(id);
        const auto count = object.history.size();
        const ValueType kind = kindOf(id);
        const bool isGeneric = id >= kObjects / 2;
        long long gap = 5;
        if (habit == 1) {
            gap = isGeneric && count == 2045 ? 9 : 2 + static_cast<long long>(count % 5);
        } else if (habit == 2) {
            gap = count % 2048 == 0 ? 1000 : 5;
        } else if (habit == 3) {
            gap = static_cast<long long>(m_random() % 50) +
                  (m_random() % 500 == 0 ? 0xFFFFFFE0LL : 0);
        }
        if (!evicts) {
            object.time += count > 0 ? gap : 0;
        } else {
            object.time += std::max(gap, 1LL);
        }
        unsigned long long bits = isClock(id) ? count & 1U : m_random();
        bits &= kind == ValueByte    ? 0xFFU
                : kind == ValueInt32 ? 0xFFFFFFFFU
                : !isPacked(kind)    ? ~0ULL
                                     : (1ULL << packedBits(kind)) - 1;
        if (kind == ValueStdLogic && isClock(id)) {
            bits += 2;
        }
        object.history[object.time] = bits;
        if (kind == ValueVlog && !isGeneric) {
            base.addVlogTransitionToDB(id, object.time, static_cast<char>(bits));
        } else if (kind == ValueStdLogic && !isGeneric) {
            base.addVhdlStdLogicTransitionToDB(id, object.time, static_cast<char>(bits));
        } else {
            base.addTransitionToDB(id, object.time, valueOf(kind, bits));
        }
    }

    /// Alternating blocks give the codes 2 and 3 of nine-state values as 0 and 1.
    void expectValue(unsigned int id, const Transition& found, long long time) const
    {
        const History& history = m_objects.at(id).history;
        const auto wanted = history.find(time);
        ASSERT_TRUE(wanted != history.end()) << time;
        EXPECT_EQ(found.time, time);
        EXPECT_EQ(found.value.getType(), isPacked(kindOf(id)) ? ValueByte : kindOf(id));
        if (kindOf(id) != ValueStdLogic || found.value.getBits() + 2 != wanted->second ||
            !isClock(id)) {
            EXPECT_EQ(found.value.getBits(), wanted->second);
        }
    }

    void expectPoint(unsigned int id, const Transition& found, History::const_iterator wanted) const
    {
        const History& history = m_objects.at(id).history;
        if (wanted != history.end()) {
            expectValue(id, found, wanted->first);
            return;
        }
        EXPECT_EQ(found.value.getType(), ValueNone);
    }

    void checkPoints(DataBase& base, unsigned int id, long long time) const
    {
        SCOPED_TRACE("at " + std::to_string(time));
        const History& history = m_objects.at(id).history;
        const auto before = [&](History::const_iterator it) {
            return it == history.begin() ? history.end() : std::prev(it);
        };
        const Transition current = base.getCurrentTransition(id, time);
        expectPoint(id, current, before(history.upper_bound(time)));
        if (before(history.upper_bound(time)) == history.end()) {
            EXPECT_EQ(current.time, time);
        }
        expectPoint(id, base.getNextTransition(id, time), history.upper_bound(time));
        expectPoint(id, base.getPrevTransition(id, time), before(history.lower_bound(time)));
    }

    /// With `minDelta` 0 every transition of the range must come; otherwise only runs may hide one.
    void checkRange(DataBase& base, unsigned int id, long long from, long long to,
                    long long minDelta) const
    {
        SCOPED_TRACE("range " + std::to_string(from) + " to " + std::to_string(to) + " by " +
                     std::to_string(minDelta));
        const History& history = m_objects.at(id).history;
        std::vector<Transition> out;
        base.getTransitions(id, from, to, minDelta, out);
        ASSERT_FALSE(out.empty());
        if (from >= base.getLatestTime() || to < history.begin()->first) {
            return;
        }
        // What is before the range is the value at its start, which must be there unless a
        // transition sits exactly on it.
        const bool isOpened = out.front().time < from;
        const auto start = history.lower_bound(from);
        if (start != history.begin() && (start == history.end() || start->first != from)) {
            EXPECT_TRUE(isOpened);
        }
        long long seen = isOpened ? from - 1 : std::min(from, out.front().time) - 1;
        bool isHidden = false;
        for (const Transition& entry : out) {
            EXPECT_GE(entry.time, out.front().time);
            const auto hidden = history.upper_bound(seen);
            if (!isHidden && hidden != history.end() && hidden->first < to) {
                EXPECT_GE(hidden->first, std::min(entry.time, to)) << "lost";
            }
            isHidden = entry.value.getType() == ValueDense;
            EXPECT_FALSE(isHidden && minDelta == 0);
            if (entry.value.getType() != ValueNone && minDelta == 0) {
                expectValue(id, entry, entry.time);
            }
            // The last run may be drawn up to the end of all that is known.
            EXPECT_LE(entry.time, minDelta == 0 ? std::max(to, from) : base.getLatestTime());
            seen = std::max(seen, entry.time);
        }
        const auto left = history.upper_bound(seen);
        EXPECT_TRUE(left == history.end() || left->first >= to) << "lost " << left->first;
    }

    /// The same in parts of any size.
    void checkHistory(DataBase& base, unsigned int id, long long from, long long to)
    {
        SCOPED_TRACE("history " + std::to_string(from) + " to " + std::to_string(to));
        const History& history = m_objects.at(id).history;
        auto wanted = history.lower_bound(from);
        std::vector<Transition> out;
        for (bool hasMore = true; hasMore;) {
            const std::size_t most = 1 + m_random() % (m_random() % 2 == 0 ? 10 : 5000);
            out.clear();
            hasMore = base.getHistory(id, from, to, most, out);
            ASSERT_TRUE(hasMore ? out.size() == most : out.size() <= most);
            for (const Transition& entry : out) {
                ASSERT_TRUE(wanted != history.end());
                expectValue(id, entry, wanted->first);
                ++wanted;
                from = entry.time + 1;
            }
        }
        EXPECT_TRUE(wanted == history.end() || wanted->first > to);
    }

    void check(DataBase& base)
    {
        for (auto& [id, object] : m_objects) {
            SCOPED_TRACE("object " + std::to_string(id));
            const History& history = object.history;
            long long first = 0;
            long long last = 0;
            ValueType kind = ValueNone;
            ASSERT_TRUE(base.getTransInfo(id, first, last, kind));
            EXPECT_EQ(first, history.begin()->first);
            EXPECT_EQ(last, history.rbegin()->first);
            const long long latest = object.time;
            const auto someTime = [&] {
                const auto place =
                    history.lower_bound(static_cast<long long>(m_random()) & (latest | 0xFFF));
                const long long time =
                    place == history.end() ? history.rbegin()->first : place->first;
                return std::max(time + static_cast<long long>(m_random() % 3) - 1, 1LL);
            };
            for (int i = 0; i < 60; ++i) {
                checkPoints(base, id, someTime());
            }
            for (int i = 0; i < 6; ++i) {
                const long long from = someTime();
                const long long to = from + 1 + static_cast<long long>(m_random() % 30'000);
                checkRange(base, id, from, to, 0);
                checkRange(base, id, from, to, static_cast<long long>(m_random() % 2000));
            }
            for (int i = 0; i < 6; ++i) {
                const long long from = someTime();
                checkHistory(base, id, from, from + static_cast<long long>(m_random() % 30'000));
            }
            checkHistory(base, id, 0, last);
            checkRange(base, id, 0, last + 1, 0);
            checkRange(base, id, 0, last + 1, 1 + last / 1000);
            if (HasFailure()) {
                return;
            }
        }
    }

    const unsigned int m_seed = std::random_device()();
    std::mt19937_64 m_random{Tracewell::seeded(m_seed)};
    std::map<unsigned int, Object> m_objects;
};

struct Road
{
    const char* name;
    DataBaseLimits limits;
    /// A buffer that is opened again repeats the initial value, and does not know what the one
    /// before it had at the present time: such a road does without either.
    bool evicts;
};

class QueryModelRoad : public QueryModel, public ::testing::WithParamInterface<Road>
{};

TEST_P(QueryModelRoad, everyQueryAnswersAsAPlainMap)
{
    SCOPED_TRACE("seed " + std::to_string(m_seed));
    {
        const auto base = open(DataBaseMode::Writer, GetParam().limits);
        int step = 0;
        for (const int checkpoint : {700, 60'000, 250'000}) {
            for (; step < checkpoint; ++step) {
                add(*base, 1 + static_cast<unsigned int>(m_random() % (kObjects - 1)),
                    GetParam().evicts);
            }
            check(*base);
            ASSERT_FALSE(HasFailure());
        }
        base->saveTransitionToDisk();
        check(*base);
    }
    for (const DataBaseLimits& limits : {DataBaseLimits(), kTinyBlocks}) {
        check(*open(DataBaseMode::Viewer, limits));
    }
}

INSTANTIATE_TEST_SUITE_P(Limits, QueryModelRoad,
                         ::testing::Values(Road{"roomy", {}, false},
                                           Road{"blocksSpill", kTinyBlocks, false},
                                           Road{"buffersSpill", kTinyBuffers, true}),
                         [](const auto& road) { return road.param.name; });

} // namespace
} // namespace Tracewell
