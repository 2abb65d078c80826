// SPDX-License-Identifier: BSD-3-Clause

#include "TimeMerge.h"
#include "testing/Seed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace {

// Few items and many, times near and far, in front of the present and behind it.
TEST(TimeMerge, givesItemsInTheOrderOfTheirTimes)
{
    std::mt19937 random(Tracewell::seeded(1));
    for (const std::size_t most : {5u, 64u, 300u}) {
        SCOPED_TRACE(most);
        Tracewell::TimeMerge<int> merge;
        std::multimap<long long, int> model;
        for (int i = 0; i < 20000; ++i) {
            if (model.size() < most && random() % 8 != 0) {
                const int bits = static_cast<int>(random() % 62);
                const long long time = static_cast<long long>(random()) % (1LL << bits) - 100;
                merge.push(time, i);
                model.emplace(time, i);
                continue;
            }
            if (model.empty()) {
                continue;
            }
            ASSERT_EQ(merge.getFirstTime(), model.begin()->first);
            if (random() % 2 == 0) {
                const auto next = merge.pop();
                const auto [from, to] = model.equal_range(next.getTime());
                ASSERT_EQ(from, model.begin());
                model.erase(std::find(from, to,
                                      std::pair<const long long, int>(next.getTime(), next.item)));
                continue;
            }
            // Of all that is due, some come back, which the walk takes too if they are due again.
            const long long until = model.begin()->first + static_cast<long long>(random() % 1000);
            long long last = model.begin()->first;
            merge.advance(until, [&](int item, long long time) {
                EXPECT_LE(last, time);
                last = time;
                const auto [from, to] = model.equal_range(time);
                const auto at = std::find(from, to, std::pair<const long long, int>(time, item));
                EXPECT_NE(at, to);
                model.erase(at);
                if (random() % 3 == 0) {
                    return merge.kEnd;
                }
                const long long next = time + static_cast<long long>(random() % 500);
                model.emplace(next, item);
                return next;
            });
            ASSERT_TRUE(model.empty() || model.begin()->first > until);
            ASSERT_EQ(merge.size(), model.size());
        }
    }
}

} // namespace
