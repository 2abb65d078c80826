#include "../support/TestFiles.h"
#include "TreeHistory.h"

#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbLiveEvent.h"

#include <limits>

#include <sys/stat.h>
#include <unistd.h>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

class AddressBTreeManager : public ::testing::Test
{
protected:
    AddressBTreeManager() { m_manager->createDrawingBTreeFile(m_fileName); }

    using Entry = void (WdbAddressBTreeManager::*)(const WdbLiveEvent*);

    void send(Entry entry, long long time, long long address, const std::string& value)
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
};

std::string getMessage(WdbAddressBTreeManager& manager, const std::string& name)
{
    try {
        manager.createDrawingBTreeFile(name);
    } catch (const Qsim::OpenException& exception) {
        return exception.getMessage();
    }
    return "no exception";
}

std::string refusal(const std::string& name)
{
    return "Cannot create temporary waveform data file " + name +
           " for the following reason: unknown reason";
}

TEST_F(AddressBTreeManager, drawingFileIsItsOwnersAloneAndGoesWithTheManager)
{
    struct stat status;
    ASSERT_EQ(::stat(m_fileName.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    m_manager->createDrawingBTreeFile(m_directory.path("other"));
    EXPECT_NE(::stat(m_fileName.c_str(), &status), 0) << "under the old name nothing stays behind";
    EXPECT_EQ(::stat(m_directory.path("other").c_str(), &status), 0);
    m_manager.reset();
    EXPECT_NE(::stat(m_directory.path("other").c_str(), &status), 0);
}

TEST_F(AddressBTreeManager, drawingFileNeverTakesANameThatIsInUse)
{
    const std::string foreign = m_directory.path("100%% foreign");
    const std::string link = m_directory.path("link");
    writeFile(foreign, "precious");
    ASSERT_EQ(::symlink(m_directory.path("target").c_str(), link.c_str()), 0);
    EXPECT_EQ(getMessage(*m_manager, foreign), refusal(foreign));
    EXPECT_EQ(getMessage(*m_manager, link), refusal(link));
    const std::string longName = m_directory.path(std::string(260, 'n'));
    EXPECT_EQ(getMessage(*m_manager, longName),
              refusal(longName) +
                  "\nOne possible cause of file IO error is too long path. Please "
                  "try shortening directory structure and/or top design unit name.");

    EXPECT_EQ(getMessage(*m_manager, foreign), refusal(foreign)) << "also when asked again";
    m_manager->createDrawingBTreeFile(m_fileName);
    m_manager.reset();
    EXPECT_EQ(readFile(foreign), "precious");
    struct stat status;
    EXPECT_EQ(::lstat(link.c_str(), &status), 0);
    EXPECT_NE(::stat(m_directory.path("target").c_str(), &status), 0);
}

TEST_F(AddressBTreeManager, namesNewTreesForScanningOnceAndEmptyOnesOnDemand)
{
    Trees trees;
    Trees toScan;
    m_manager->getOrCreateByteBTrees(100, 0, trees, toScan);
    EXPECT_TRUE(trees.empty());
    EXPECT_FALSE(m_manager->hasAtLeastOneBtree());
    m_manager->getOrCreateByteBTrees(100, 3, trees, toScan);
    EXPECT_EQ(trees, toScan);
    ASSERT_EQ(trees.size(), 3u);
    EXPECT_EQ(trees[2]->getAddress(), 102);
    EXPECT_EQ(m_manager->getByteBTree(102), trees[2]);

    const auto askAgain = [&](const Trees& expected) {
        Trees again;
        Trees againToScan;
        m_manager->getOrCreateByteBTrees(100, 3, again, againToScan);
        EXPECT_EQ(again, trees);
        EXPECT_EQ(againToScan, expected);
    };
    askAgain({});
    sendDirect(5, 101, "x");
    m_manager->setRescanBTree(true);
    askAgain({trees[0], trees[2]});
    m_manager->setRescanBTree(false);
    ::setenv("WAVEDATA_RESCAN", "", 1);
    askAgain({trees[0], trees[2]});
    ::unsetenv("WAVEDATA_RESCAN");
    askAgain({});

    m_manager->deleteByteBTrees(99, 3);
    EXPECT_EQ(m_manager->getByteBTree(101), nullptr);
    EXPECT_EQ(m_manager->getByteBTree(102), trees[2]);
    constexpr long long kHighest = std::numeric_limits<long long>::max();
    m_manager->getOrCreateByteBTrees(kHighest - 1, 5, trees, toScan);
    EXPECT_EQ(trees.size(), 5u) << "where the addresses end";
}

TEST_F(AddressBTreeManager, keepsBitTreesInTheOrderOfCreation)
{
    Trees trees;
    Trees toScan;
    m_manager->getOrCreateBitBTrees({{7, 5}, {7, 0}, {8, 1}, {7, 5}}, trees, toScan);
    ASSERT_EQ(trees.size(), 4u);
    EXPECT_EQ(trees[3], trees[0]);
    EXPECT_EQ(toScan, Trees(trees.begin(), trees.end() - 1));
    EXPECT_EQ(m_manager->getBitBTreeList(7), Trees({trees[0], trees[1]}));
    EXPECT_EQ(m_manager->getOrCreateBitBTree(7, 0), trees[1]);
    EXPECT_EQ(trees[0]->getBitMask(), 0x20);
    m_manager->createBitBTree(7, 3);
    m_manager->deleteBitBTrees({{7, 0}, {7, 6}, {9, 0}});
    EXPECT_EQ(m_manager->getBitBTreeList(7), Trees({trees[0], m_manager->getBitBTree(7, 3)}));
    m_manager->deleteBitBTrees({{7, 3}, {7, 5}});
    EXPECT_TRUE(m_manager->getBitBTreeList(7).empty());
    EXPECT_EQ(m_manager->getBitBTree(7, 5), nullptr);
}

TEST_F(AddressBTreeManager, newEventsReachTheTreesOfTheirBytes)
{
    sendDirect(1, 10, "lost");
    Trees trees;
    Trees toScan;
    m_manager->getOrCreateByteBTrees(12, 1, trees, toScan);
    m_manager->getOrCreateBitBTrees({{12, 0}, {12, 4}, {13, 1}}, trees, toScan);
    sendDirect(2, 10, std::string("\0\0\x11\x02", 4));
    sendDirect(3, 20, "elsewhere");
    sendDirect(3, 12, "");
    send(&WdbAddressBTreeManager::addEventBuffered, 4, 11, std::string("\0\x10", 2));
    EXPECT_EQ(getHistory(*trees[0]), (History{{2, 0x11}}));
    m_manager->flushEvents();
    m_manager->flushEvents();
    EXPECT_EQ(getHistory(*trees[0]), (History{{2, 0x11}, {4, 0x10}}));
    EXPECT_EQ(getHistory(*trees[1]), (History{{2, 1}, {4, 0}}));
    EXPECT_EQ(getHistory(*trees[2]), (History{{2, 1}}));
    EXPECT_EQ(getHistory(*trees[3]), (History{{2, 1}}));

    sendDirect(1, 12, "\x33");
    EXPECT_EQ(getHistory(*trees[0]), (History{{2, 0x11}, {4, 0x33}})) << "time never runs back";

    constexpr long long kHighest = std::numeric_limits<long long>::max();
    m_manager->getOrCreateByteBTrees(kHighest, 1, trees, toScan);
    m_manager->getOrCreateByteBTrees(std::numeric_limits<long long>::min(), 1, trees, toScan);
    sendDirect(5, kHighest, "ab");
    EXPECT_EQ(getHistory(*trees[4]), (History{{5, 'a'}}));
    EXPECT_TRUE(trees[5]->isEmpty()) << "addresses do not wrap";
}

TEST_F(AddressBTreeManager, resetForgetsTheHistoryAndEmptiesTheFile)
{
    Trees trees;
    Trees toScan;
    m_manager->getOrCreateByteBTrees(0, 1, trees, toScan);
    m_manager->getOrCreateBitBTrees({{0, 0}}, trees, toScan);
    for (int round = 0; round < 2; ++round) {
        // More than a record, so that the file is used.
        for (int time = 0; time < 5000; ++time)
            sendDirect(time, 0, time % 2 == 0 ? "A" : "B");
        EXPECT_EQ(getHistory(*trees[0]).size(), 5000u);
        EXPECT_GT(readFile(m_fileName).size(), 0u);
        send(&WdbAddressBTreeManager::addEventBuffered, 6000, 0, "C");
        m_manager->reset();
        m_manager->flushEvents();
        EXPECT_TRUE(trees[0]->isEmpty());
        EXPECT_TRUE(trees[1]->isEmpty());
        EXPECT_EQ(m_manager->getByteBTree(0), trees[0]);
        EXPECT_EQ(readFile(m_fileName).size(), 0u);
    }
}

} // namespace
} // namespace Tracewell
