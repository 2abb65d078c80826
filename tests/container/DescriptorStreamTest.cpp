#include "../support/TestFiles.h"

#include "DescriptorStreamBuffer.h"

namespace Tracewell {
namespace {

using Mode = DescriptorFile::Mode;

TEST(DescriptorStream, everyWriteIsInTheFileAtOnce)
{
    const TestDirectory directory;
    const std::string path = directory.path("file");
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(path, Mode::Create));
    stream << "abc" << 12;
    EXPECT_EQ(readFile(path), "abc12");
    stream.seekp(1);
    stream.put('B');
    EXPECT_EQ(readFile(path), "aBc12");
    stream.seekp(2, std::ios::end);
    EXPECT_EQ(readFile(path).size(), 5u) << "a seek changes nothing";
    stream << "z";
    EXPECT_EQ(readFile(path), std::string("aBc12\0\0z", 8));
    ASSERT_TRUE(stream.open(path, Mode::Recreate));
    EXPECT_EQ(std::streamoff(stream.seekp(0, std::ios::end).tellp()), 0);
}

TEST(DescriptorStream, getAndPutPositionsAreSeparate)
{
    const TestDirectory directory;
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(directory.path("file"), Mode::CreateExclusive));
    stream << "one two";
    std::string word;
    EXPECT_TRUE(stream >> word);
    EXPECT_EQ(word, "one");
    EXPECT_EQ(std::streamoff(stream.tellg()), 3);
    EXPECT_EQ(std::streamoff(stream.tellp()), 7);
    EXPECT_EQ(stream.get(), ' ');
    EXPECT_TRUE(stream.unget());
    EXPECT_TRUE(stream.get() == ' ' && stream.get() == 't');
    EXPECT_FALSE(stream.putback('x')) << "not what stands there";
    stream.clear();
    EXPECT_EQ(std::streamoff(stream.tellg()), 5);
    stream.seekg(-2, std::ios::cur);
    EXPECT_EQ(stream.peek(), ' ');
    stream.seekg(0, std::ios::end);
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    stream.clear();
    EXPECT_FALSE(stream.seekg(-1));
}

TEST(DescriptorStream, readerSeesAFileGrow)
{
    const TestDirectory directory;
    const std::string path = directory.path("file");
    DescriptorStream writer;
    DescriptorStream reader;
    ASSERT_TRUE(writer.open(path, Mode::Create));
    writer << "ab";
    ASSERT_TRUE(reader.open(path, Mode::Read));
    auto& buffer = *static_cast<DescriptorStreamBuffer*>(reader.rdbuf());
    EXPECT_TRUE(buffer.contains(0, 2));
    EXPECT_FALSE(buffer.contains(0, 3));
    writer << "c";
    EXPECT_TRUE(buffer.contains(0, 3));
    writer << "d";
    EXPECT_EQ(std::streamoff(reader.seekg(0, std::ios::end).tellg()), 4);
    EXPECT_FALSE(reader << "x");
    EXPECT_EQ(readFile(path), "abcd");
}

} // namespace
} // namespace Tracewell
