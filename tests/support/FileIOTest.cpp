// SPDX-License-Identifier: BSD-3-Clause

#include "FileIO.h"

#include "testing/TestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>

namespace Tracewell {
namespace {

TEST(FileIO, closedObjectFailsEverythingAndStaysClosedForAnEmptyName)
{
    FileIO file;
    EXPECT_FALSE(file.open("", FileIO::Write));
    EXPECT_FALSE(file.open("x", FileIO::None));
    int value = 0;
    EXPECT_FALSE(file.readInt32(value) || file.writeInt32(value) || file.setOffset(0));
    EXPECT_EQ(file.getOffset(), FileIO::InvalidOffset);
    EXPECT_EQ(file.getFileSize(), -1);
    EXPECT_TRUE(file.isEOF() && file.close() && file.flush());
}

TEST(FileIO, readingAPipeDoesNotWaitForItsOtherEnd)
{
    const TestDirectory directory;
    const std::string name = directory.path("pipe");
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    FileIO file;
    int value = 0;
    EXPECT_TRUE(file.open(name, FileIO::Read));
    EXPECT_FALSE(file.readInt32(value));
}

TEST(FileIO, invertedReadingSwapsNumbersAndLengthsButNoTexts)
{
    const TestDirectory directory;
    const std::string name = directory.path("swapped");
    writeFile(name, std::string("\1\2\3\4", 4) + std::string("\0\0\0\3", 4) + "abc");
    FileIO file;
    ASSERT_TRUE(file.open(name, FileIO::Read));
    EXPECT_EQ(file.getFileSize(), 11);
    EXPECT_FALSE(file.reopen());
    file.setInvertEndianness(true);
    int value = 0;
    EXPECT_TRUE(file.readInt32(value));
    EXPECT_EQ(value, 0x01020304);
    std::string text;
    EXPECT_TRUE(file.readString(text));
    EXPECT_EQ(text, "abc");
    EXPECT_TRUE(file.isEOF());
    EXPECT_TRUE(file.skipBytes(-3));
    EXPECT_FALSE(file.skipBytes(-9));
    EXPECT_EQ(file.getOffset(), 8);
}

TEST(FileIO, textsAreCutAtTheirFirstNulAndAtTheirLengthField)
{
    const TestDirectory directory;
    const std::string name = directory.path("texts");
    FileIO file;
    ASSERT_TRUE(file.open(name, FileIO::Write));
    const std::string longText(65536 + 2, 'x');
    EXPECT_TRUE(file.writeString(std::string("ab\0cd", 5)));
    EXPECT_EQ(file.getOffset(), FileIO::diskStringSize("abcde"));
    EXPECT_TRUE(file.writeShortString(longText));
    EXPECT_TRUE(file.writeUInt32(0xFFFFFFFF) && file.writeUInt32(0x7FFFFFFF));
    EXPECT_TRUE(file.close());

    ASSERT_TRUE(file.open(name, FileIO::Read));
    std::string text;
    EXPECT_TRUE(file.readString(text));
    EXPECT_EQ(text, "ab");
    EXPECT_TRUE(file.readShortString(text));
    EXPECT_EQ(text, "xx");
    EXPECT_FALSE(file.readString(text));
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(file.readString(text));
}

TEST(FileIO, reopeningEmptiesAndReadWriteKeeps)
{
    const TestDirectory directory;
    const std::string name = directory.path("kept");
    FileIO file;
    ASSERT_TRUE(file.open(name, FileIO::Write));
    EXPECT_TRUE(file.writeUInt16(7) && file.reopen() && file.writeUInt8(9) && file.close());
    EXPECT_EQ(readFile(name), "\x9");
    ASSERT_TRUE(file.open(name, FileIO::ReadWrite));
    EXPECT_EQ(file.getFileSize(), -1);
    unsigned char byte = 0;
    EXPECT_TRUE(file.readUInt8(byte) && file.writeUInt8(8) && file.setOffset(0) &&
                file.readUInt8(byte));
    EXPECT_EQ(byte, 9);
}

TEST(FileIO, theFirstFailureIsRememberedBeyondClosing)
{
    const TestDirectory directory;
    FileIO file;
    EXPECT_FALSE(file.open(directory.path("missing/file"), FileIO::Write));
    EXPECT_EQ(file.getError(), ENOENT);
    ASSERT_TRUE(file.open("/dev/full", FileIO::ReadWrite));
    EXPECT_EQ(file.getError(), 0);
    EXPECT_FALSE(file.writeUInt8(1));
    file.close();
    EXPECT_FALSE(file.writeUInt8(1));
    EXPECT_EQ(file.getError(), ENOSPC);
}

} // namespace
} // namespace Tracewell
