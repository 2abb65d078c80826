// SPDX-License-Identifier: BSD-3-Clause

#include "WdbDenseDrawFilter.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace Tracewell {
namespace {

using Event = WdbDenseDrawFilter::DenseEvent;

constexpr long long kEarliest = std::numeric_limits<long long>::min();
constexpr long long kLatest = std::numeric_limits<long long>::max();

const auto change = [](long long time, unsigned char value = 0) {
    return Event{Event::Simple, value, time, time, 0};
};
const auto end = [](long long time) { return Event{Event::Eof, 0, time, time, 0}; };
const auto blank = [](long long time) { return Event{Event::Blank, 0, time, time, 0}; };
const auto block = [](long long start, long long last) {
    return Event{Event::Block, 0, start, last, 0};
};

/// What comes out when `events` go in: "time=value", "start-end", "blank time", "split", "end".
std::string feed(long long resolution, const std::vector<Event>& events, bool keepSimple = false)
{
    WdbDenseDrawFilter filter(keepSimple);
    filter.setResolution(resolution);
    std::string out;
    bool needsEvent = true;
    for (std::size_t next = 0;;) {
        if (needsEvent) {
            if (next == events.size()) {
                return out;
            }
            filter.addDenseEvent(events[next++]);
        }
        Event event;
        const WdbDenseDrawFilter::Command command = filter.process(event);
        needsEvent = command != WdbDenseDrawFilter::EmitQueued;
        if (command == WdbDenseDrawFilter::Finished) {
            return out + "end";
        }
        const std::string start = std::to_string(event.startTime);
        if (command == WdbDenseDrawFilter::SplitBlock) {
            out += "split ";
        } else if (event.type == Event::Simple) {
            out += start + "=" + std::to_string(event.value) + " ";
        } else if (event.type == Event::Dense) {
            out += start + "-" + std::to_string(event.endTime) + " ";
        } else if (event.type == Event::Blank) {
            out += "blank " + start + " ";
        }
    }
}

TEST(DenseDrawFilter, fusesWithinTheResolutionAndSplitsABlockAtTheTail)
{
    EXPECT_EQ(feed(0, {change(0, 1), change(5, 2), change(5, 3), change(9, 4), end(9)}),
              "0=1 5=3 9=4 end")
        << "of two at one time the later";
    EXPECT_EQ(feed(10, {change(kEarliest, 1), change(kLatest, 2), end(kLatest)}),
              "-9223372036854775808=1 9223372036854775807=2 end");
    EXPECT_EQ(feed(10, {change(0, 1), change(10, 2), change(20, 3), change(100, 4), end(101)}),
              "0-10 20=3 100=4 end")
        << "the value at the end of a stretch holds for long, so it shows";
    EXPECT_EQ(feed(10, {change(0, 1), change(10, 2), change(21, 3), change(22, 4), end(25)}),
              "0-0 10=2 21-22 end");
    EXPECT_EQ(feed(10, {block(0, 50), end(60)}), "0-50 end");
    EXPECT_EQ(feed(10, {change(0), change(5), block(15, 50), end(100), block(15, 70), change(70, 9),
                        end(100)}),
              "split 0-70 70=9 end")
        << "the stretch that the Block had joined goes on";
    EXPECT_EQ(feed(10, {blank(3), change(5, 1), blank(6), change(8), change(9), blank(9), end(9)}),
              "blank 3 5=1 blank 6 8-9 blank 9 end");
    EXPECT_EQ(feed(10, {change(0, 1), change(5, 2), block(8, 20), change(22, 3), end(100)}, true),
              "0=1 5-20 22=3 end");
}

TEST(DenseDrawFilter, shortCutOfARunGivesTheSameStretch)
{
    WdbDenseDrawFilter filter(false);
    filter.setResolution(10);
    Event out;
    for (const long long time : {0, 10}) {
        filter.addSimpleEvent(time, 1);
        EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::NeedMore);
    }
    ASSERT_TRUE(filter.isInRun());
    filter.extendRun(30, 40, 5);
    filter.addSimpleEvent(100, 6);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::EmitQueued);
    EXPECT_EQ(out.endTime, 30);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::EmitQueued);
    EXPECT_EQ(out.startTime, 40);
    EXPECT_EQ(out.value, 5);
}

TEST(DenseDrawFilter, trimLengthensTheDistanceToTheNextEvent)
{
    WdbDenseDrawFilter filter(false);
    filter.setResolution(10);
    Event out;
    filter.addUntrimmedBlock(0, -1, 3);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::NeedMore);
    filter.addSimpleEvent(7, 1);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::NeedMore);
    filter.addEof(17);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::EmitQueued);
    EXPECT_EQ(out.type, Event::Dense);
    EXPECT_EQ(out.endTime, 7) << "an end that is not above 0 is the start, 3 of trim are within 10";
    EXPECT_EQ(out.trim, 9);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::Finished);

    filter.addTrimmedBlock(200, 210);
    filter.reset();
    filter.addBlank(5);
    EXPECT_EQ(filter.process(out), WdbDenseDrawFilter::EmitPending);
    EXPECT_EQ(out.startTime, 5);
}

} // namespace
} // namespace Tracewell
