// SPDX-License-Identifier: BSD-3-Clause

#include "changes/GatheredChanges.h"
#include "testing/Seed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

using tracewell::GatheredChanges;

namespace {

struct Stretch
{
    std::size_t count;
    long long from;
    long long to;
    /// All times are multiples of it behind the start.
    long long step;
};

class GatheredStretch : public ::testing::TestWithParam<Stretch>
{};

TEST_P(GatheredStretch, comesInTheOrderOfTimeAndThenOfGathering)
{
    const auto [count, from, to, step] = GetParam();
    std::mt19937_64 random(Tracewell::seeded(count));
    std::vector<GatheredChanges::Change> expected;
    GatheredChanges gathered;
    gathered.add({to, 0, 0});
    gathered.clear();
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto steps =
            static_cast<unsigned long long>(to - from) / static_cast<unsigned long long>(step);
        const auto offset = static_cast<long long>(random() % (steps + 1)) * step;
        expected.push_back({from + offset, i, ~i});
        gathered.add(expected.back());
    }
    gathered.arrange(from, to);
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& a, const auto& b) { return a.time < b.time; });
    for (const auto& change : expected) {
        const auto* const next = gathered.peek();
        ASSERT_NE(next, nullptr);
        ASSERT_EQ(std::tie(next->time, next->source, next->value),
                  std::tie(change.time, change.source, change.value));
        gathered.pop();
    }
    EXPECT_EQ(gathered.peek(), nullptr);
}

constexpr long long kLast = std::numeric_limits<long long>::max();

INSTANTIATE_TEST_SUITE_P(Stretches, GatheredStretch,
                         ::testing::Values(Stretch{0, 5, 5, 1}, Stretch{0, 0, -1, 1},
                                           Stretch{3000, 7, 7, 1}, Stretch{50, 0, 1000, 1},
                                           Stretch{20'000, 100, 5000, 1},
                                           Stretch{20'000, 3, 3'000'000'003, 1000},
                                           Stretch{20'000, 0, kLast, 1},
                                           Stretch{5000, kLast - 90'000, kLast, 1}));

} // namespace
