// SPDX-License-Identifier: BSD-3-Clause

#include "WdbRuntime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

TEST(Runtime, addsStretchesAndIgnoresWhatItIsAlreadyDoing)
{
    WdbRuntime meter(false);
    meter.stop();
    EXPECT_EQ(meter.getWallSecs(), 0.0);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 2; ++i) {
        const WdbRuntimer running(meter);
        meter.start();
        EXPECT_TRUE(meter.isRunning());
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
        while (std::chrono::steady_clock::now() < end)
            ;
    }
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(meter.getWallSecs(), 0.008);
    EXPECT_LE(meter.getWallSecs(), passed.count() + 0.002);
    EXPECT_EQ(meter.getUserSecs(), 0.0);
    EXPECT_GT(meter.getWindowsCpuTime(false) + meter.getWindowsCpuTime(true), 0.0);
    std::ostringstream text;
    meter.report(text);
    EXPECT_EQ(text.str().substr(0, 6), "0u 0s ");
    EXPECT_EQ(text.str().back(), 'w');
    meter.clear();
    EXPECT_EQ(meter.getWallSecs(), 0.0);
}
