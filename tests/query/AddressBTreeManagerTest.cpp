// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestEvents.h"

#include "WdbLiveEvent.h"

#include <sys/stat.h>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

constexpr long long kHighest = std::numeric_limits<long long>::max();

class AddressBTreeManager : public ::testing::Test
{
protected:
    AddressBTreeManager() { m_manager->createDrawingBTreeFile(m_fileName); }

    void send(void (WdbAddressBTreeManager::*entry)(const WdbLiveEvent*), long long time,
              long long address, const std::string& value)
    {
        const auto length = static_cast<unsigned int>(value.size());
        const std::unique_ptr<WdbLiveEvent> event(new (length) WdbLiveEvent(length));
        event->setFields(time, address, reinterpret_cast<const unsigned char*>(value.data()));
        (*m_manager.*entry)(event.get());
    }
    void sendDirect(long long time, long long address, const std::string& value)
    {
        send(&WdbAddressBTreeManager::addEventDirect, time, address, value);
    }

    TestDirectory m_directory;
    const std::string m_fileName = m_directory.path("trees.zelwvdat");
    std::unique_ptr<WdbAddressBTreeManager> m_manager =
        std::make_unique<WdbAddressBTreeManager>(nullptr);
    Trees m_trees;
    Trees m_toScan;
};

bool isThere(const std::string& path)
{
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

TEST_F(AddressBTreeManager, drawingFileIsItsOwnersAndNeverTakesANameInUse)
{
    struct stat status;
    ASSERT_EQ(::stat(m_fileName.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);

    const auto expectRefusal = [&](const std::string& name, const std::string& hint) {
        EXPECT_EQ(openErrorOf([&] { m_manager->createDrawingBTreeFile(name); }),
                  "Cannot create temporary waveform data file " + name +
                      " for the following reason: unknown reason" + hint);
    };
    const std::string foreign = m_directory.path("100%% foreign");
    const std::string link = m_directory.path("link");
    writeFile(foreign, "precious");
    std::filesystem::create_symlink(m_directory.path("target"), link);
    for (const std::string& name : {link, foreign, foreign}) {
        expectRefusal(name, "");
    }
    expectRefusal(m_directory.path(std::string(260, 'n')),
                  "\nOne possible cause of file IO error is too long path. Please "
                  "try shortening directory structure and/or top design unit name.");
    m_manager->createDrawingBTreeFile(m_directory.path("other"));
    EXPECT_FALSE(isThere(m_fileName)) << "under the old name nothing stays behind";
    m_manager.reset();
    EXPECT_FALSE(isThere(m_directory.path("other")));
    EXPECT_EQ(readFile(foreign), "precious");
    EXPECT_TRUE(isThere(link));
    EXPECT_FALSE(isThere(m_directory.path("target")));
}

TEST_F(AddressBTreeManager, namesNewTreesForScanningOnceAndEmptyOnesOnDemand)
{
    m_manager->getOrCreateByteBTrees(100, 0, m_trees, m_toScan);
    EXPECT_FALSE(m_manager->hasAtLeastOneBtree());
    m_manager->getOrCreateByteBTrees(100, 3, m_trees, m_toScan);
    ASSERT_EQ(m_trees.size(), 3u);
    EXPECT_EQ(m_trees, m_toScan);
    EXPECT_EQ(m_trees[2]->getAddress(), 102);

    const auto askAgain = [&](const Trees& expected) {
        Trees trees;
        Trees toScan;
        m_manager->getOrCreateByteBTrees(100, 3, trees, toScan);
        EXPECT_EQ(trees, m_trees);
        EXPECT_EQ(toScan, expected);
    };
    sendDirect(5, 101, "x");
    askAgain({});
    m_manager->setRescanBTree(true);
    askAgain({m_trees[0], m_trees[2]});
    m_manager->setRescanBTree(false);
    ::setenv("WAVEDATA_RESCAN", "", 1);
    askAgain({m_trees[0], m_trees[2]});
    ::unsetenv("WAVEDATA_RESCAN");

    m_manager->deleteByteBTrees(99, 3);
    EXPECT_EQ(m_manager->getByteBTree(101), nullptr);
    EXPECT_EQ(m_manager->getByteBTree(102), m_trees[2]);
    m_manager->getOrCreateByteBTrees(kHighest - 1, 5, m_trees, m_toScan);
    EXPECT_EQ(m_trees.size(), 5u) << "where the addresses end";
}

TEST_F(AddressBTreeManager, keepsBitTreesInTheOrderOfCreation)
{
    m_manager->getOrCreateBitBTrees({{7, 5}, {7, 0}, {8, 1}, {7, 5}}, m_trees, m_toScan);
    ASSERT_EQ(m_trees.size(), 4u);
    EXPECT_EQ(m_trees[3], m_trees[0]);
    EXPECT_EQ(m_toScan, Trees(m_trees.begin(), m_trees.end() - 1));
    EXPECT_EQ(m_manager->getBitBTreeList(7), Trees({m_trees[0], m_trees[1]}));
    EXPECT_EQ(m_manager->getOrCreateBitBTree(7, 0), m_trees[1]);
    WdbScalarBTree* const third = m_manager->getOrCreateBitBTree(7, 3);
    m_manager->deleteBitBTrees({{7, 0}, {7, 6}, {9, 0}});
    EXPECT_EQ(m_manager->getBitBTreeList(7), Trees({m_trees[0], third}));
    m_manager->deleteBitBTrees({{7, 3}, {7, 5}});
    EXPECT_TRUE(m_manager->getBitBTreeList(7).empty());
}

TEST_F(AddressBTreeManager, newEventsReachTheTreesOfTheirBytes)
{
    sendDirect(1, 10, "before any tree");
    m_manager->getOrCreateByteBTrees(12, 1, m_trees, m_toScan);
    m_manager->getOrCreateBitBTrees({{12, 0}, {12, 4}, {13, 1}}, m_trees, m_toScan);
    sendDirect(2, 10, std::string("\0\0\x11\x02", 4));
    sendDirect(3, 20, "elsewhere");
    sendDirect(3, 12, "");
    send(&WdbAddressBTreeManager::addEventBuffered, 4, 11, std::string("\0\x10", 2));
    EXPECT_EQ(getHistory(*m_trees[0]), (History{{2, 0x11}}));
    m_manager->flushEvents();
    m_manager->flushEvents();
    EXPECT_EQ(getHistory(*m_trees[0]), (History{{2, 0x11}, {4, 0x10}}));
    EXPECT_EQ(getHistory(*m_trees[1]), (History{{2, 1}, {4, 0}}));
    EXPECT_EQ(getHistory(*m_trees[2]), (History{{2, 1}}));
    EXPECT_EQ(getHistory(*m_trees[3]), (History{{2, 1}}));
    send(&WdbAddressBTreeManager::addEventBuffered, 5, 500, "xy");
    m_manager->getOrCreateByteBTrees(501, 1, m_trees, m_toScan);
    m_manager->flushEvents();
    EXPECT_EQ(getHistory(*m_trees.back()), (History{{5, 'y'}})) << "a tree made meanwhile";
    m_trees.pop_back();
    sendDirect(1, 12, "\x33");
    EXPECT_EQ(getHistory(*m_trees[0]), (History{{2, 0x11}, {4, 0x33}})) << "time never runs back";

    m_manager->getOrCreateByteBTrees(kHighest, 1, m_trees, m_toScan);
    m_manager->getOrCreateByteBTrees(-kHighest - 1, 1, m_trees, m_toScan);
    sendDirect(5, kHighest, "ab");
    EXPECT_EQ(getHistory(*m_trees[4]), (History{{5, 'a'}}));
    EXPECT_TRUE(m_trees[5]->isEmpty()) << "addresses do not wrap";
}

TEST_F(AddressBTreeManager, resetForgetsTheHistoryAndEmptiesTheFile)
{
    m_manager->getOrCreateByteBTrees(0, 1, m_trees, m_toScan);
    for (int round = 0; round < 2; ++round) {
        // More than a record, so that the file is used.
        for (int time = 0; time < 5000; ++time) {
            sendDirect(time, 0, time % 2 == 0 ? "A" : "B");
        }
        EXPECT_EQ(getHistory(*m_trees[0]).size(), 5000u);
        EXPECT_GT(std::filesystem::file_size(m_fileName), 0u);
        send(&WdbAddressBTreeManager::addEventBuffered, 6000, 0, "C");
        m_manager->reset();
        m_manager->flushEvents();
        EXPECT_TRUE(m_trees[0]->isEmpty());
        EXPECT_EQ(m_manager->getByteBTree(0), m_trees[0]);
        EXPECT_EQ(std::filesystem::file_size(m_fileName), 0u);
    }
}

} // namespace
} // namespace Tracewell
