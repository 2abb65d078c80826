// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "QsimException.h"
#include "WdbStringLRUCache.h"
#include "WdbStringMapDatabase.h"

#include <algorithm>

namespace Tracewell {
namespace {

class StringMap : public ::testing::Test
{
protected:
    void SetUp() override { open(m_container.files(), true); }

    void open(WdbFileManager& files, bool forWriting)
    {
        const long long section =
            forWriting ? WdbStringMapDatabase::createStringMapSection(101, files, true)
                       : WdbStringMapDatabase::getStringMapSection(files);
        m_map = std::make_unique<WdbStringMapDatabase>(files);
        m_map->initialize(section, forWriting);
    }
    void reopen()
    {
        m_map.reset();
        m_container.reopen();
        open(m_container.files(), false);
    }
    /// The text of an id, or "?" when there is none.
    std::string get(unsigned int id) const
    {
        std::string text = "?";
        const bool found = m_map->getString(id, text);
        EXPECT_EQ(found, text != "?");
        return text;
    }

    TestContainer m_container;
    std::unique_ptr<WdbStringMapDatabase> m_map;
};

TEST_F(StringMap, fileHoldsAnchorHeaderNodeAndImageAsLaidOutByHand)
{
    EXPECT_EQ(m_map->addString("one"), 1);
    EXPECT_EQ(m_map->addString(""), 2);
    m_map->flush();
    const std::string content = m_container.content();
    const std::size_t anchor = 64 + 136;
    const std::size_t node = anchor + 8 + 16 + 48;
    const std::size_t block = node + 2416;
    EXPECT_EQ(content.substr(anchor, 24), words(node) + halfWords(101, 1024) + words(anchor));
    EXPECT_EQ(content.substr(node, 2416), padded(words(0, block), 808) + padded(words(1), 800) +
                                              padded(halfWords(content.size() - block), 400) +
                                              padded(halfWords(2), 400) + halfWords(1, 0));
    EXPECT_EQ(inflated(content.substr(block)),
              padded(words(1) + halfWords(2) + std::string("one\0\0", 5), 1024));
    WdbTableOfContentItem item;
    m_container.files().getSection("WDB.StringMap", 1, item);
    EXPECT_EQ(item.m_fileOffset, static_cast<long long>(anchor + 8));
    EXPECT_EQ(item.m_size, 16);
}

TEST_F(StringMap, findsEveryTextByItsIdAcrossBlocksAndNodes)
{
    std::mt19937 random(Tracewell::seeded(3));
    std::vector<std::string> texts;
    for (int i = 0; i < 1500; ++i) {
        texts.push_back("text " + std::to_string(i) + std::string(below(random, 200), 'x'));
        ASSERT_EQ(m_map->addString(texts.back()), i + 1);
        if (i % 300 == 0) {
            ASSERT_EQ(get(static_cast<unsigned int>(i) + 1), texts.back());
        }
    }
    reopen();
    unsigned int blocks = 0;
    for (auto it = m_map->getIterator(); it; ++it) {
        ++blocks;
    }
    EXPECT_GT(blocks, 150u) << "more than a node lists";
    for (unsigned int id = 1; id <= 1500; id += 1 + below(random, 20)) {
        ASSERT_EQ(get(id), texts[id - 1]);
    }
    EXPECT_EQ(get(1500), texts.back());
    for (const unsigned int missing : {0u, 1501u, 0xffffffffu}) {
        EXPECT_EQ(get(missing), "?");
    }
    EXPECT_EQ(m_map->addString("open for reading"), -1);
}

/// Through more than a node, so that what comes lies in the last node and behind it.
TEST_F(StringMap, whoReadsBesideTheWriterFindsWhatHasComeSince)
{
    WdbFileManager files;
    std::unique_ptr<WdbStringMapDatabase> map;
    for (int count = 1, last = 0; count <= 12000; count *= 3) {
        for (; last < count; ++last) {
            m_map->addString(std::to_string(last) + std::string(30, 'x'));
        }
        m_map->flush();
        if (!map) {
            files.open(m_container.path());
            map = std::make_unique<WdbStringMapDatabase>(files);
            map->initialize(WdbStringMapDatabase::getStringMapSection(files), false);
        }
        for (const int id : {1, last / 2 + 1, last}) {
            std::string text;
            ASSERT_TRUE(map->getString(static_cast<unsigned int>(id), text)) << id;
            EXPECT_EQ(text, std::to_string(id - 1) + std::string(30, 'x'));
        }
        std::string text = "?";
        EXPECT_FALSE(map->getString(static_cast<unsigned int>(last) + 1, text));
        EXPECT_EQ(text, "?");
    }
}

TEST_F(StringMap, refusesWhatNoBlockCanHoldAndUsesUpNoId)
{
    std::mt19937 random(Tracewell::seeded(6));
    const auto noise = [&](std::size_t length) {
        std::string text = randomBytes(random, length);
        std::replace(text.begin(), text.end(), '\0', 'n');
        return text;
    };
    const std::string longest(1010, 'l');
    EXPECT_EQ(m_map->addString(longest), 1);
    EXPECT_EQ(m_map->addString(longest + "l"), -1);
    EXPECT_EQ(m_map->addString(std::string("a\0b", 3)), -1);
    EXPECT_EQ(m_map->addString(noise(1010)), -1) << "its stream would be longer than a block";
    // Blocks of noise are split, so that nothing is cut.
    std::vector<std::string> texts = {longest, "", noise(900)};
    while (texts.size() < 100) {
        texts.push_back(noise(1 + below(random, 500)));
    }
    for (std::size_t i = 1; i < texts.size(); ++i) {
        ASSERT_EQ(m_map->addString(texts[i]), static_cast<long long>(i) + 1);
    }
    reopen();
    for (std::size_t i = 0; i < texts.size(); ++i) {
        ASSERT_EQ(get(static_cast<unsigned int>(i) + 1), texts[i]);
    }
}

TEST_F(StringMap, withoutTableEntryThereIsNoSection)
{
    TestContainer container;
    const long long section =
        WdbStringMapDatabase::createStringMapSection(101, container.files(), false);
    EXPECT_THROW(WdbStringMapDatabase::getStringMapSection(container.files()), Qsim::OpenException);
    WdbStringMapDatabase empty(container.files());
    empty.initialize(section, false);
    EXPECT_TRUE(empty.getIterator().isEof()) << "anchor 0";
    EXPECT_THROW(empty.initialize(1 << 20, false), Qsim::OpenException);
}

TEST(StringBlock, countsOfAFileAreHeldAgainstTheImage)
{
    WdbStringBlock block(64);
    block.addString(-3, "ab");
    block.addString(-2, "c");
    block.loadDataOffsetArray(0xffffffff);
    EXPECT_EQ(block.size(), 64u - 12 - 3) << "each NUL behind the texts is an empty one";
    WdbStringBlockIterator it = block.getStringBlockIterator();
    EXPECT_EQ(it.next().id, -3);
    EXPECT_STREQ(it.next().text, "c");
}

TEST(StringCache, evictsTheLeastRecentlyUsed)
{
    WdbStringLRUCache cache(2);
    std::string text;
    cache.add(1, "one");
    cache.add(2, "two");
    EXPECT_TRUE(cache.get(1, text));
    EXPECT_EQ(text, "one");
    cache.add(3, "three");
    EXPECT_FALSE(cache.get(2, text));
    EXPECT_EQ(text, "one");
    cache.put(1, "uno");
    cache.add(4, "four");
    EXPECT_FALSE(cache.get(3, text)) << "replacing is a use";
    EXPECT_TRUE(cache.get(1, text));
    EXPECT_EQ(text, "uno");
    cache.add(5, "five");
    cache.add(6, "six");
    for (const int id : {1, 2, 3, 4}) {
        EXPECT_FALSE(cache.get(id, text)) << id;
    }
    EXPECT_TRUE(cache.get(5, text) && cache.get(6, text));
}

} // namespace
} // namespace Tracewell
