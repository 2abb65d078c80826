// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "BlockStore.h"
#include "WdbMemoryBlockManager.h"

#include <functional>
#include <stdexcept>

namespace Tracewell {
namespace {

/// The `kind`th way to fill an image, so that each way through the compressor is gone: noise of any
/// alphabet, records, runs, hashes that collide, codes that would grow past 15 bits.
std::string imageOf(std::mt19937& random, unsigned int kind, std::size_t size)
{
    std::string image(size, '\0');
    const std::size_t used = below(random, 2) == 0 ? size : random() % size;
    const unsigned int alphabet = 1 + below(random, 256);
    const auto fill = [&](const auto& byteAt) {
        for (std::size_t i = 0; i < used; ++i)
            image[i] = static_cast<char>(byteAt(i));
    };
    if (kind == 0)
        fill([&](std::size_t) { return random() % alphabet; });
    else if (kind == 1)
        fill([&](std::size_t i) { return i % 17 < 3 ? random() : i % 17 == 3 ? i / 256 : 0; });
    else if (kind == 2)
        fill([&](std::size_t i) {
            return i < 300 ? random() : static_cast<unsigned char>(image[i - 1 - random() % 3]);
        });
    else if (kind == 3)
        fill([&](std::size_t) { return random() % 3 << 5 | random() % 2; });
    else {
        std::size_t end = 0;
        for (std::size_t last = 1, count = 1; end + count <= used;
             last = std::exchange(count, last + count)) {
            std::fill_n(image.begin() + static_cast<std::ptrdiff_t>(end), count,
                        static_cast<char>(count * 37));
            end += count;
        }
        std::shuffle(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(end), random);
    }
    return image;
}

TEST(ImageCompressor, givesTheBytesOfCompress2AlsoWhenCut)
{
    std::mt19937 random(Tracewell::seeded(7));
    ImageCompressor compressor;
    int cut = 0;
    for (unsigned int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        // Above 32,768 bytes zlib itself is called.
        const std::size_t sizes[] = {10240, 1U + below(random, 3000), 32700U + below(random, 100)};
        const std::string image = imageOf(random, round % 5, sizes[below(random, 3)]);
        std::string expected(image.size(), '\0');
        uLongf length = expected.size();
        const bool fits = compress2(reinterpret_cast<Bytef*>(expected.data()), &length,
                                    bytesOf(image), image.size(), 1) == Z_OK;
        expected.resize(length);
        ASSERT_EQ(compressor.compress(image.data(), static_cast<unsigned int>(image.size())), fits);
        ASSERT_EQ(std::string(compressor.data(), compressor.size()), expected);
        cut += fits ? 0 : 1;
    }
    EXPECT_GT(cut, 10);
    EXPECT_LT(cut, 300);
}

class FailingManager : public WdbMemoryBlockManager
{
public:
    explicit FailingManager(std::function<void()> fail) : m_fail(std::move(fail)) {}
    long long addBlock(const char*, unsigned long long) override
    {
        m_fail();
        return 0;
    }

private:
    std::function<void()> m_fail;
};

TEST(StoringDeathTest, anExceptionWhileStoringEndsTheProcessWithItsLine)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    WdbEventBlock events(10240, 0);
    add(events, {1, 0, "x"});
    WdbStringBlock strings(1024);
    strings.addString(1, "text");
    unsigned int size = 0;
    unsigned int count = 0;
    long long id = 0;

    const auto expectLine = [&](const std::function<void()>& fail, const std::string& eventLine,
                                const std::string& stringLine) {
        FailingManager manager(fail);
        const std::string reason = " for the following reason: .*\n$";
        EXPECT_EXIT(events.addBlock(manager, size), ::testing::ExitedWithCode(1),
                    "^WDB FATAL ERROR: " + eventLine + reason);
        EXPECT_EXIT(strings.addBlock(manager, size, id, count), ::testing::ExitedWithCode(1),
                    "^WDB FATAL ERROR: " + stringLine + reason);
    };
    expectLine([] { throw std::runtime_error("broken"); }, "failed to add event block",
               "failed to add event block");
    expectLine([] { throw Qsim::IOException("QSim", "", "", 0, "broken"); },
               "unspecified exception thrown", "unspecified exception thrown");
    expectLine([] { throw 3; }, "caught unspecified exception in WdbEventBlock::addBlock",
               "caught unspecified exception in WdbStringBlock::addBlock");
}

TEST(StoringDeathTest, anExceptionOnAHelperThreadEndsTheProcessToo)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto storeThroughQueue = [] {
        FailingManager failing([] { throw std::runtime_error("broken"); });
        TestContainer container;
        EventBlockList list(container.blocks(), 72, 10240, 0, EventBlockList::Access::Writing);
        add(list.openItem(), {1, 0, "x"});
        BlockStore<WdbEventBlock, EventBlockList> store(failing);
        store.setQueue(std::make_shared<BlockStoreQueue>());
        store.storeOpenItem(list);
        store.drain();
    };
    EXPECT_EXIT(storeThroughQueue(), ::testing::ExitedWithCode(1),
                "WDB FATAL ERROR: failed to add event block for the following reason: .*\n$");
}

} // namespace
} // namespace Tracewell
