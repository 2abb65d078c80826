// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestFiles.h"

#include "DescriptorStreamBuffer.h"

namespace Tracewell {
namespace {

using Mode = DescriptorFile::Mode;

TEST(DescriptorStream, everyWriteIsInTheFileAtOnceAndPositionsAreSeparate)
{
    const TestDirectory directory;
    const std::string path = directory.path("file");
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(path, Mode::CreateExclusive));
    stream << "abc " << 12;
    EXPECT_EQ(readFile(path), "abc 12");
    stream.seekp(1).put('B');
    EXPECT_EQ(readFile(path), "aBc 12");
    std::string word;
    EXPECT_TRUE(stream >> word);
    EXPECT_EQ(word, "aBc");
    EXPECT_EQ(std::streamoff(stream.tellp()), 2);
    EXPECT_TRUE(stream.get() == ' ' && stream.unget() && stream.get() == ' ');
    EXPECT_EQ(stream.seekg(-2, std::ios::cur).peek(), 'c');
    EXPECT_FALSE(stream.putback('x')) << "not what stands there";
    stream.clear();
    EXPECT_EQ(stream.seekg(0, std::ios::end).get(), std::char_traits<char>::eof());
    stream.clear();
    EXPECT_FALSE(stream.seekg(-1));
    stream.clear();
    stream.seekp(2, std::ios::end) << "z";
    EXPECT_EQ(readFile(path), std::string("aBc 12\0\0z", 9));
    ASSERT_TRUE(stream.open(path, Mode::Recreate));
    EXPECT_EQ(std::streamoff(stream.seekp(0, std::ios::end).tellp()), 0);
}

} // namespace
} // namespace Tracewell
