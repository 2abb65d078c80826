// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

namespace Tracewell {

/// Prints what the random numbers of a test that fails began with.
class SeedPrinter : public ::testing::EmptyTestEventListener
{
public:
    static SeedPrinter& instance()
    {
        static auto* const printer = [] {
            auto* const made = new SeedPrinter;
            ::testing::UnitTest::GetInstance()->listeners().Append(made);
            return made;
        }();
        return *printer;
    }

    void note(unsigned int seed) { m_seed = seed; }
    void OnTestPartResult(const ::testing::TestPartResult& result) override
    {
        if (result.failed()) {
            std::cout << "the last seed was " << m_seed << '\n';
        }
    }

private:
    unsigned int m_seed = 0;
};

/// The seed of a test's random numbers: its own, moved by TRACEWELL_TEST_SEED of the environment.
inline unsigned int seeded(unsigned long long own)
{
    static const char* const moved = std::getenv("TRACEWELL_TEST_SEED");
    const auto seed =
        static_cast<unsigned int>(own + (moved ? std::strtoull(moved, nullptr, 10) : 0));
    SeedPrinter::instance().note(seed);
    return seed;
}

} // namespace Tracewell
