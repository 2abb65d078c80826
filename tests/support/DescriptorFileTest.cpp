#include "TestFiles.h"

#include "platform/DescriptorFile.h"

#include <cerrno>

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
}

TEST(DescriptorFile, offsetsHave64BitsAndShortReadsAreCounted)
{
    const TestDirectory directory;
    const std::string path = directory.path("far");
    const long long far = 5LL << 30;
    DescriptorFile writer;
    ASSERT_TRUE(writer.open(path, Mode::Create));
    ASSERT_EQ(writer.writeAt(far, "xyz", 3), 3u);
    EXPECT_EQ(writer.size(), far + 3);

    DescriptorFile reader;
    ASSERT_TRUE(reader.open(path, Mode::Read));
    char bytes[4] = {'?', '?', '?', '?'};
    EXPECT_EQ(reader.readAt(far + 1, bytes, 4), 2u);
    EXPECT_EQ(errno, ENODATA);
    EXPECT_EQ(std::string(bytes, 4), "yz??");
    EXPECT_EQ(reader.writeAt(0, "w", 1), 0u);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
} // namespace Tracewell
