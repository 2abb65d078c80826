// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ForkedProcess.h"
#include "testing/TestFiles.h"

#include "FileIO.h"

#include "platform/DescriptorFile.h"
#include "platform/SharedRegion.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tracewell {
namespace {

using Mode = DescriptorFile::Mode;

TEST(DescriptorFile, exclusiveFilesAreTheOwnersAndNeverReachedThroughALink)
{
    const TestDirectory directory;
    const std::string path = directory.path("own");
    DescriptorFile file;
    ASSERT_TRUE(file.open(path, Mode::CreateExclusive));
    ASSERT_EQ(file.writeAt(0, "abc", 3), 3u);
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    DescriptorFile second;
    EXPECT_FALSE(second.open(path, Mode::CreateExclusive));
    EXPECT_EQ(errno, EEXIST);
    const std::string target = directory.path("target");
    const std::string link = directory.path("link");
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    EXPECT_FALSE(second.open(link, Mode::CreateExclusive));
    EXPECT_FALSE(second.open(link, Mode::Recreate));
    EXPECT_FALSE(std::filesystem::exists(target));

    ASSERT_TRUE(second.open(path, Mode::Recreate));
    EXPECT_EQ(file.size(), 0);
}

TEST(DescriptorFile, whatIsNoOrdinaryFileFailsInsteadOfHanging)
{
    const TestDirectory directory;
    DescriptorFile file;
    EXPECT_FALSE(file.open(directory.path(""), Mode::Read));
    EXPECT_EQ(errno, EISDIR);
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    char byte;
    ASSERT_TRUE(file.open(pipe, Mode::Read));
    EXPECT_EQ(file.readAt(0, &byte, 1), 0u);
    EXPECT_EQ(file.size(), -1);
}

TEST(DescriptorFile, nothingOpensInPlaceOfAClosedStandardStream)
{
    const TestDirectory directory;
    ForkedProcess process([&] {
        for (int inherited = 0; inherited < 16; ++inherited) {
            ::close(inherited);
        }
        DescriptorFile file;
        FileIO stream;
        SharedRegion creator;
        SharedRegion opener;
        const std::string name = SharedRegion::spellName("own", std::to_string(::getpid()));
        bool isDone = file.open(directory.path("file"), Mode::Create) &&
                      stream.open(directory.path("stream"), FileIO::Write) &&
                      creator.create(name, 4096) == SharedRegion::Outcome::Done &&
                      opener.open(name, 4096) == SharedRegion::Outcome::Done;
        for (int standard = 0; standard < 3; ++standard) {
            isDone = isDone && ::fcntl(standard, F_GETFD) == -1;
        }
        for (int own = 3; own < 16; ++own) {
            const int flags = ::fcntl(own, F_GETFD);
            isDone = isDone && (flags == -1 || flags == FD_CLOEXEC);
        }
        return isDone;
    });
    EXPECT_TRUE(process.succeeds());
}

} // namespace
} // namespace Tracewell
