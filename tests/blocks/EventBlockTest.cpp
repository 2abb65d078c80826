// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include <map>
#include <stdexcept>
#include <tuple>

namespace Tracewell {
namespace {

constexpr unsigned int kSize = 10240;

/// Two events, 0x1002 := aa bb at 5 and 0x1000 := 01 at 9, in a block of 128 bytes.
std::string imageOfTwoEvents()
{
    return padded(words(5, 4) + halfWords(2) + record(5, 2, "\xaa\xbb") + record(9, 0, "\x01"),
                  128);
}

std::string compressed(const std::string& image, int level)
{
    std::string out(compressBound(image.size()), '\0');
    uLongf size = out.size();
    compress2(reinterpret_cast<Bytef*>(out.data()), &size, bytesOf(image), image.size(), level);
    out.resize(size);
    return out;
}

long long store(TestContainer& container, const std::string& bytes)
{
    return container.blocks().addBlock(bytes.data(), bytes.size());
}

TEST(EventBlock, storesTheImageLaidOutByHandAsALevel1Stream)
{
    TestContainer container;
    WdbEventBlock block(128, 0x1000);
    unsigned int size = 77;
    EXPECT_EQ(block.addBlock(container.blocks(), size), 0) << "nothing in it";
    EXPECT_EQ(size, 77u);
    add(block, {1, 1, ""});
    add(block, {5, 0x1002, "\xaa\xbb"});
    add(block, {9, 0x1000, "\x01"});
    const long long handle = block.addBlock(container.blocks(), size);
    const std::string stored = container.content().substr(static_cast<std::size_t>(handle));
    EXPECT_EQ(stored.size(), size);
    EXPECT_EQ(stored, compressed(imageOfTwoEvents(), 1));
    block.putBlock(handle - 64, container.blocks());
    EXPECT_EQ(container.content().substr(static_cast<std::size_t>(handle) - 64),
              imageOfTwoEvents());
    EXPECT_EQ(block.size(), 2u) << "storing does not clear";
}

TEST(EventBlock, readsAForeignStreamAndForgetsWhatItHeldBefore)
{
    TestContainer container;
    const std::string stream = compressed(imageOfTwoEvents(), 9);
    const long long handle = store(container, stream);
    WdbEventBlock block(128, 0x1000);
    for (int i = 0; i < 4; ++i) {
        add(block, {1, 0x1000, "before"});
    }
    block.loadBlock(handle, static_cast<unsigned int>(stream.size()), container.blocks());
    EXPECT_EQ(eventsOf(block),
              (std::vector<TestEvent>{{5, 0x1002, "\xaa\xbb"}, {9, 0x1000, "\x01"}}));
    EXPECT_EQ(block.getTimeLength(), 4);
    block.clear();
    EXPECT_EQ(std::string(block.getMemory(), 128), std::string(128, '\0'));
    add(block, {50, 1, "x"});
    add(block, {20, 1, "x"});
    block.fillHeader();
    EXPECT_EQ(block.getTimeLength(), -30) << "by position, also when times fall";
}

TEST(EventBlock, keepsTheMarginOf20FreeAndTakesAnyNumberOfSmallEvents)
{
    WdbEventBlock block(100, 0);
    EXPECT_TRUE(block.canAdd(59) && !block.canAdd(60) && !block.canAdd(0xffffffff));
    EXPECT_EQ(WdbEventBlock::getLongestValue(100), 59u);

    WdbEventBlock large(200000, 0);
    unsigned int count = 0;
    for (; large.canAdd(1); ++count) {
        add(large, {count, count, "x"});
    }
    EXPECT_GT(count, 11000u);
    EXPECT_EQ(eventsOf(large).size(), count);
}

TEST(EventBlock, damagedBlocksGiveWhatIsWholeAndNeverMore)
{
    TestContainer container;
    const auto load = [&](std::string image, std::size_t cut = std::string::npos) {
        const std::string stream = compressed(image, 1).substr(0, cut);
        const long long handle = store(container, stream);
        WdbEventBlock block(128, 0x1000);
        block.loadBlock(handle, static_cast<unsigned int>(stream.size()), container.blocks());
        return eventsOf(block).size();
    };
    const auto with = [](std::size_t offset, const std::string& bytes) {
        return imageOfTwoEvents().replace(offset, bytes.size(), bytes);
    };
    EXPECT_EQ(load(imageOfTwoEvents()), 2u);
    EXPECT_EQ(load(with(16, littleEndian(0xffffffff, 4))), 2u) << "count";
    EXPECT_EQ(load(with(32, littleEndian(0xfffffff0, 4))), 0u) << "length of the first record";
    EXPECT_EQ(load(with(50, littleEndian(0, 4))), 1u) << "length of the second record";
    EXPECT_EQ(load(with(50, littleEndian(75, 4))), 1u) << "one byte past the image";
    EXPECT_EQ(load(with(50, littleEndian(74, 4))), 2u);
    EXPECT_EQ(load(imageOfTwoEvents(), 12), 0u) << "cut in the first record";
    EXPECT_EQ(load(imageOfTwoEvents() + std::string(500, 'x')), 2u) << "longer than the block";

    WdbEventBlock block(128, 0x1000);
    const auto length = static_cast<long long>(container.content().size());
    for (const auto& [handle, size] : {std::pair<long long, unsigned int>{-1, 20},
                                       {length - 5, 20},
                                       {0x7fffffffffffff00, 100},
                                       {64, 129},
                                       {64, 100}}) {
        add(block, {1, 0x1000, "x"});
        block.loadBlock(handle, size, container.blocks());
        EXPECT_TRUE(block.isEmpty()) << handle << ' ' << size;
    }
}

TEST(EventBlock, cutStreamIsReadAsFarAsItGoes)
{
    std::mt19937 random(Tracewell::seeded(8));
    WdbEventBlock whole(kSize, 0);
    for (int i = 0; whole.canAdd(8); ++i) {
        add(whole, {i, i, randomBytes(random, 8)});
    }
    whole.fillHeader();
    const std::vector<TestEvent> events = eventsOf(whole);
    const std::string stream = compressed(std::string(whole.getMemory(), kSize), 1);
    TestContainer container;
    std::size_t countBefore = 0;
    for (std::size_t size = 0; size <= stream.size(); size += 1 + below(random, 100)) {
        const long long handle = store(container, stream.substr(0, size));
        WdbEventBlock block(kSize, 0);
        block.loadBlock(handle, static_cast<unsigned int>(size), container.blocks());
        const std::vector<TestEvent> read = eventsOf(block);
        ASSERT_GE(read.size(), countBefore) << "a longer piece gives no less";
        countBefore = read.size();
        for (std::size_t i = 0; i + 1 < read.size(); ++i) {
            ASSERT_EQ(read[i], events[i]) << size;
        }
        if (!read.empty()) {
            ASSERT_EQ(read.back().time, events[read.size() - 1].time) << "only its end may lack";
        }
        if (size > stream.size() / 2) {
            ASSERT_GT(read.size(), events.size() / 3) << size;
        }
    }
    EXPECT_GT(countBefore, events.size() * 9 / 10);
}

/// The events that stay, as the ordered map of the definition finds them.
std::vector<TestEvent> filtered(const std::vector<TestEvent>& events)
{
    std::map<std::tuple<long long, long long, std::size_t>, std::size_t> last;
    bool repeated = false;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const auto key = std::make_tuple(events[i].time, events[i].address, events[i].value.size());
        if (!last.emplace(key, i).second) {
            last[key] = i;
            repeated = true;
        } else if (!repeated && i > 100) {
            return events;
        }
    }
    std::vector<TestEvent> kept;
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (last[{events[i].time, events[i].address, events[i].value.size()}] == i) {
            kept.push_back(events[i]);
        }
    }
    return kept;
}

TEST(EventBlockFilter, keepsTheLastOfEachRepeatLikeAnOrderedMap)
{
    std::mt19937 random(Tracewell::seeded(20));
    for (int round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        // Rare and frequent repeats, times in order or not, addresses near and 2,048 apart.
        const unsigned int places = 1 + below(random, 300);
        const unsigned int stride = round % 3 == 0 ? 1024 : 1;
        const bool ordered = round % 2 == 0;
        const unsigned int lengths = 1 + below(random, 2);
        WdbEventBlock block(kSize, 0x100);
        long long time = 0;
        while (block.canAdd(8)) {
            if (below(random, 20) == 0) {
                time += ordered ? 1 : static_cast<long long>(below(random, 3)) - 1;
            }
            add(block, {time, 0x100 + below(random, places) * stride,
                        randomBytes(random, 1 + below(random, lengths))});
        }
        const std::vector<TestEvent> events = eventsOf(block);
        block.filterOutRepeatedValue();
        const std::vector<TestEvent> expected = filtered(events);
        ASSERT_EQ(eventsOf(block), expected);
        WdbEventBlock built(kSize, 0x100);
        for (const TestEvent& event : expected) {
            add(built, event);
        }
        built.getIterator();
        ASSERT_EQ(std::string(block.getMemory(), kSize), std::string(built.getMemory(), kSize));
    }
}

TEST(EventBlockFilter, givesUpWhenTheFirstEventsHoldNoRepeat)
{
    for (const unsigned int repeatAt : {100u, 101u, 102u, 149u}) {
        WdbEventBlock block(kSize, 0);
        for (unsigned int i = 0; i < 150; ++i) {
            add(block, {1, i == repeatAt ? 1003 : 1000 + i, "x"});
        }
        block.filterOutRepeatedValue();
        EXPECT_EQ(block.size(), repeatAt <= 101 ? 149u : 150u) << repeatAt;
    }
}

TEST(EventBlockKeys, largestDiffIsTheBlocksLengthWhileOneByteChangedOnce)
{
    WdbEventBlock block(kSize, 4096);
    for (const TestEvent& event : {TestEvent{10, 4096, "ab"}, {17, 4096, "ab"}, {40, 4097, "c"}}) {
        add(block, event);
    }
    EXPECT_EQ(block.getLargestDiff(4096), 23);
    add(block, {45, 4096 + 2047, "d"});
    EXPECT_EQ(block.getLargestDiff(4096), 35);
    add(block, {46, 4096 + 2047, "e"});

    unsigned char key[256];
    long long diff = 0;
    block.getLargestDiffAndKey(4096, diff, key);
    EXPECT_EQ(diff, 23);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(key), 256),
              "\x03" + std::string(254, '\0') + "\x80");
    EXPECT_TRUE(WdbEventBlock::isAddressInKey(4097, 4096, key));
    EXPECT_FALSE(WdbEventBlock::isAddressInKey(4096 + 2048, 4096, key));
    add(block, {50, 4096 + 2046, "wxyz"});
    EXPECT_THROW(block.getLargestDiff(4096), std::out_of_range);
    EXPECT_THROW(block.getkeyMap(4096, key), std::out_of_range);
}

} // namespace
} // namespace Tracewell
