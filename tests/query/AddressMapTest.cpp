// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "WdbAddressMap.h"

#include <set>

namespace Tracewell {
namespace {

constexpr long long kLowest = std::numeric_limits<long long>::min();
constexpr long long kHighest = std::numeric_limits<long long>::max();

unsigned int countRuns(const std::set<long long>& set)
{
    unsigned int runs = 0;
    for (const long long address : set) {
        runs += set.count(address - 1) == 0 ? 1 : 0;
    }
    return runs;
}

TEST(WdbAddressMap, holdsTheSetThatWasInserted)
{
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(Tracewell::seeded(seed));
        WdbAddressMap map;
        std::set<long long> model;
        for (int step = 0; step < 60; ++step) {
            const long long start = pick(random, 120) - 60;
            const long long end = pick(random, 2) == 0 ? start : start + pick(random, 12) - 2;
            const std::size_t before = model.size();
            for (long long address = start; address <= end; ++address) {
                model.insert(address);
            }
            map.resetDirtyFlag();
            start == end ? map.insert(start) : map.insert(start, end);
            ASSERT_EQ(map.isDirty(), model.size() != before);
            ASSERT_EQ(map.size(), countRuns(model));
        }
        for (long long address = -80; address < 80; ++address) {
            ASSERT_EQ(map.find(address), model.count(address) != 0) << address;
        }
    }
}

TEST(WdbAddressMap, reachesTheEndsOfTheAddressSpaceAtOnce)
{
    WdbAddressMap map;
    EXPECT_FALSE(map.find(0));
    map.insert(kHighest);
    map.insert(kLowest);
    map.insert(kHighest - 1);
    EXPECT_EQ(map.size(), 2u);
    map.insert(kLowest + 1, kHighest - 2);
    EXPECT_EQ(map.size(), 1u);
    EXPECT_TRUE(map.find(0));
}

TEST(WdbAddressMap, isStoredRangeByRangeAndTakesSoundOnesBack)
{
    TestContainer container;
    WdbIBlockManager& manager = container.blocks();
    WdbAddressMap map;
    map.insert(10, 12);
    map.insert(-5);
    const long long offset = map.addBlock(manager);
    EXPECT_EQ(container.content().substr(static_cast<std::size_t>(offset)), words(-5, -5, 10, 12));

    const WdbAddressRange ranges[] = {{4, 6}, {7, 9}, {5, 8}, {3, 3}, {20, 12}, {2, 5}, {9, 30}};
    const long long handle = manager.addBlock(reinterpret_cast<const char*>(ranges), sizeof ranges);
    map.clear();
    map.resetDirtyFlag();
    map.loadBlock(handle, 7, manager);
    EXPECT_EQ(map.size(), 3u) << "3, 4 to 6 and 7 to 9, not joined";
    EXPECT_FALSE(map.isDirty());
    EXPECT_FALSE(map.find(12));
    map.insert(2, 11);
    EXPECT_EQ(map.size(), 1u);

    map.clear();
    for (const long long count : {-1LL, 0LL, 8LL, kHighest / 16, kHighest}) {
        map.loadBlock(handle, count, manager);
    }
    map.loadBlock(kHighest - 1, 1, manager);
    EXPECT_EQ(map.size(), 0u);
}

} // namespace
} // namespace Tracewell
