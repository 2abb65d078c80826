// SPDX-License-Identifier: BSD-3-Clause

#include "ChannelName.h"
#include "WdbSharedMemMgr.h"
#include "platform/SharedRegion.h"
#include "testing/ForkedProcess.h"

#include "testing/TestFiles.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include <sys/mman.h>
#include <sys/resource.h>

namespace Tracewell {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using Outcome = SharedRegion::Outcome;

constexpr std::size_t kSize = 4096;

/// A region's name of this test's own.
class SharedRegionTest : public ::testing::Test
{
protected:
    ~SharedRegionTest() override { ::shm_unlink(m_name.c_str()); }

    const TestDirectory m_directory;
    const std::string m_name = makeRegionName("test", "", m_directory.path(""), "");
};

TEST_F(SharedRegionTest, secondCreatorAndSecondOpenerAreRefusedWhileTheFirstOnesLive)
{
    Signal opened;
    ForkedProcess process([&] {
        SharedRegion creator;
        SharedRegion opener;
        creator.create(m_name, kSize);
        opener.open(m_name, kSize);
        return opened.giveAndStay();
    });
    opened.await();
    SharedRegion region;
    EXPECT_EQ(region.open(m_name, kSize), Outcome::HasOpener);
    EXPECT_EQ(region.create(m_name, kSize), Outcome::HasCreator);
    EXPECT_TRUE(SharedRegion::isOffered(m_name, kSize));
    process.kill();
    EXPECT_FALSE(SharedRegion::isOffered(m_name, kSize));
    EXPECT_EQ(region.open(m_name, kSize), Outcome::CreatorGone);
    EXPECT_EQ(region.create(m_name, kSize), Outcome::Done);
    region.close();
    EXPECT_EQ(region.open(m_name, kSize), Outcome::Failed);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SharedRegionTest, oneOfManyCreatorsTakesOverAStaleRegion)
{
    for (int round = 0; round < 20; ++round) {
        // From the second round on the winner of the last one, killed, has left a region.
        std::vector<std::unique_ptr<ForkedProcess>> creators;
        Signal tried;
        const std::string directory = m_directory.path(std::to_string(round));
        std::filesystem::create_directory(directory);
        for (int i = 0; i < 4; ++i) {
            creators.push_back(std::make_unique<ForkedProcess>([&] {
                SharedRegion region;
                if (region.create(m_name, kSize) == Outcome::Done) {
                    writeFile(directory + "/" + std::to_string(i), "");
                }
                return tried.giveAndStay();
            }));
        }
        for (int i = 0; i < 4; ++i) {
            tried.await();
        }
        SharedRegion opener;
        EXPECT_EQ(opener.open(m_name, kSize), Outcome::Done);
        using Entries = std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(Entries(directory), Entries()), 1);
    }
}

TEST_F(SharedRegionTest, wrongSizeAndMissingSpaceAreErrors)
{
    SharedRegion creator;
    SharedRegion opener;
    ASSERT_EQ(creator.create(m_name, kSize), Outcome::Done);
    EXPECT_EQ(opener.open(m_name, kSize + 1), Outcome::TooSmall);
    creator.close();
    ForkedProcess limited([&] {
        const rlimit limit{kSize, kSize};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
        return SharedRegion().create(m_name, 2 * kSize) == Outcome::Failed && errno == EFBIG;
    });
    EXPECT_TRUE(limited.succeeds());
    EXPECT_EQ(opener.open(m_name, kSize), Outcome::Failed);
}

TEST_F(SharedRegionTest, whatIsNoSharedMemoryIsNamedAndLeftAlone)
{
    const std::filesystem::path place = "/dev/shm" + m_name;
    for (const bool isLink : {true, false}) {
        if (isLink) {
            std::filesystem::create_symlink(m_directory.path("elsewhere"), place);
        } else {
            std::filesystem::create_directory(place);
        }
        EXPECT_EQ(SharedRegion().create(m_name, kSize), Outcome::OtherKind);
        EXPECT_EQ(SharedRegion().open(m_name, kSize), Outcome::OtherKind);
        EXPECT_TRUE(std::filesystem::remove(place));
    }
}

TEST(RegionName, keepsApartWhateverDiffersAndStaysWithinTheSystemsLimit)
{
    const std::string longPath(1000, 'p');
    const std::set<std::string> names{
        makeRegionName("X", "1", "/a/b_c", "7"),  makeRegionName("X", "1", "/a_b/c", "7"),
        makeRegionName("X", "1", "/A/b_c", "7"),  makeRegionName("X", "11", "/a/b_c", "7"),
        makeRegionName("X1", "1", "/a/b_c", "7"), makeRegionName("X", "1", "/a/b_c", "17"),
        makeRegionName("X", "1", longPath, "7"),  makeRegionName("X", "1", longPath + "p", "7"),
    };
    EXPECT_EQ(names.size(), 8u);
    for (const std::string& name : names) {
        EXPECT_LE(name.size(), 250u);
    }
    EXPECT_THAT(makeRegionName("Local\\X", "1", "/A/b_c", "7"),
                MatchesRegex("/Local_X1_a_b_c7_[0-9a-f]{16}"));
}

TEST(Channel, withoutARegionALineIsPrintedAndNothingBlocks)
{
    const TestDirectory directory;
    ::testing::internal::CaptureStdout();
    WdbSharedMemMgr viewer(false, directory.path("snap"), 3);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Could not open file mapping object (" + std::to_string(ENOENT) + ").\n");
    unsigned int count = 1;
    char byte;
    const WdbLivePacketContainer change;
    EXPECT_FALSE(viewer.getPackets(&byte, count));
    EXPECT_FALSE(viewer.putPacket(&change));
    EXPECT_FALSE(viewer.putPacketMarkTime(1));
    viewer.restart();

    WdbSharedMemMgr kernel(true, directory.path("snap"), 3);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    WdbSharedMemMgr secondKernel(true, directory.path("snap"), 3);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Could not create file mapping object (" + std::to_string(EBUSY) + ").\n");
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                HasSubstr("live channel 3 of " + directory.path("snap") +
                          ": a running simulation feeds it already"));
    EXPECT_FALSE(secondKernel.putPacketMarkTime(1));
    EXPECT_TRUE(kernel.putPacketMarkTime(1));
    // The viewer that came too early finds the region now.
    EXPECT_FALSE(kernel.isPeerPresent());
    viewer.prepareForStart();
    EXPECT_TRUE(kernel.isPeerPresent() && viewer.isPeerPresent());
}

TEST(SimulatorProcess, isFoundByItsExecutableHoweverLongTheNamesAre)
{
    const TestDirectory directory;
    const std::string kernelName = "a-kernel-with-a-name-beyond-the-short-one";
    const std::string frontEnd = directory.path("zsim.exe");
    std::filesystem::copy_file("/bin/sh", frontEnd);
    std::filesystem::copy_file(LIVE_SIMULATOR_ID, directory.path(kernelName));
    const std::string command = frontEnd + " -c 'echo $$; " + directory.path(kernelName) +
                                "; true' > " + directory.path("out");
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::istringstream out(readFile(directory.path("out")));
    int frontEndId = 0;
    int foundId = 0;
    std::string foundName;
    out >> frontEndId >> foundId >> foundName;
    EXPECT_GT(frontEndId, 0);
    EXPECT_EQ(foundId, frontEndId);
    EXPECT_EQ(foundName, kernelName);
}

} // namespace
} // namespace Tracewell
