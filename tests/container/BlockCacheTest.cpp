// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestFiles.h"

#include "WdbFileBlockManagerWithCache.h"
#include "WdbFileBlockManagerWithWriteCache.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

namespace Tracewell {
namespace {

void* copyOf(const char* text)
{
    return std::strcpy(static_cast<char*>(std::malloc(std::strlen(text) + 1)), text);
}

TEST(LRUCache, leastRecentlyUsedBlockGoes)
{
    WdbLRUCache cache(2);
    cache.add(1, copyOf("one"));
    cache.add(2, copyOf("two"));
    EXPECT_STREQ(static_cast<char*>(cache.get(1)), "one");
    cache.add(3, copyOf("three"));
    EXPECT_EQ(cache.get(2), nullptr);
    cache.put(1, copyOf("uno"));
    void* const absent = copyOf("four");
    cache.put(4, absent);
    std::free(absent);
    cache.add(5, copyOf("five"));
    EXPECT_STREQ(static_cast<char*>(cache.get(1)), "uno");
    EXPECT_EQ(cache.get(3), nullptr);
    EXPECT_EQ(cache.get(4), nullptr);
    // Room is made for a handle that is there too, at its own cost when it is the oldest.
    cache.add(5, copyOf("cinque"));
    EXPECT_STREQ(static_cast<char*>(cache.get(5)), "cinque");
    EXPECT_STREQ(static_cast<char*>(cache.get(1)), "uno");
}

TEST(LRUFileBlockCache, writesDirtyBlocksOnceWhenTheyGo)
{
    std::stringstream stream("........");
    WdbLRUFileBlockCache cache(stream, 2);
    cache.add(0, copyOf("aa"), 2, false);
    cache.put(2, copyOf("bb"), 2);
    cache.put(4, copyOf("cc"), 2);
    EXPECT_EQ(stream.str(), "........") << "a clean block was written when it went";
    cache.put(6, copyOf("dd"), 2);
    EXPECT_EQ(stream.str(), "..bb....");
    cache.flushDirtyItems();
    EXPECT_EQ(stream.str(), "..bbccdd");
    stream.str("########");
    cache.reset();
    EXPECT_EQ(stream.str(), "########") << "a block was written twice";
}

/// What is read is what was written last, in whatever size, and what must be in the file is there.
template <class Manager> void expectBlocksAreKept(bool writesThrough)
{
    std::mt19937 random(Tracewell::seeded(71));
    std::stringstream stream;
    std::string expected;
    {
        Manager manager(stream, 3);
        std::vector<std::pair<long long, std::size_t>> blocks;
        for (int step = 0; step < 3000; ++step) {
            std::string bytes(1 + random() % 40, '\0');
            for (char& byte : bytes) {
                byte = static_cast<char>(random());
            }
            const auto action = blocks.size() < 6 ? 0 : random() % 4;
            if (action == 0) {
                blocks.emplace_back(manager.addBlock(bytes.data(), bytes.size()), bytes.size());
                EXPECT_EQ(blocks.back().first, static_cast<long long>(expected.size()));
                expected += bytes;
                continue;
            }
            const auto& block = blocks[random() % blocks.size()];
            const auto place = static_cast<std::size_t>(block.first);
            bytes.resize(random() % 3 == 0 ? 1 + random() % block.second : block.second, '?');
            if (action == 1) {
                manager.putBlock(block.first, bytes.data(), bytes.size());
                expected.replace(place, bytes.size(), bytes);
            } else {
                manager.getBlock(block.first, bytes.data(), bytes.size());
                ASSERT_EQ(bytes, expected.substr(place, bytes.size())) << "step " << step;
            }
            ASSERT_TRUE(!writesThrough || stream.str() == expected) << "step " << step;
        }
        EXPECT_TRUE(manager.contains(0, expected.size()));
        EXPECT_FALSE(manager.contains(1, expected.size()));
    }
    EXPECT_EQ(stream.str(), expected);
}

TEST(CachedBlockManagers, giveBackWhatWasWrittenLast)
{
    expectBlocksAreKept<WdbFileBlockManagerWithCache>(true);
    expectBlocksAreKept<WdbFileBlockManagerWithWriteCache>(false);
}

TEST(CachedBlockManagers, rewrittenBlockWaitsForSync)
{
    std::stringstream stream;
    WdbFileBlockManagerWithWriteCache manager(stream, 2);
    manager.addBlock("old", 3);
    manager.putBlock(0, "new", 3);
    EXPECT_EQ(stream.str(), "old");
    manager.sync();
    EXPECT_EQ(stream.str(), "new");
    manager.putBlock(0, "NEW", 3);
    manager.putBlock(0, "H", 1);
    EXPECT_EQ(stream.str(), "HEW") << "another size does not wait";
}

} // namespace
} // namespace Tracewell
