#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <stdlib.h>

namespace Tracewell {

/// A directory of this test's own, removed with everything in it.
class TestDirectory
{
public:
    TestDirectory() : m_path(::testing::TempDir() + "/tracewell-XXXXXX")
    {
        EXPECT_NE(::mkdtemp(m_path.data()), nullptr);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;
    ~TestDirectory() { std::filesystem::remove_all(m_path); }

    std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

inline std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

/// The bytes of an integer, lowest first.
inline std::string littleEndian(unsigned long long value, int size)
{
    std::string bytes;
    for (int i = 0; i < size; ++i, value >>= 8)
        bytes += static_cast<char>(value & 0xff);
    return bytes;
}

inline std::string padded(std::string text, std::size_t size)
{
    text.resize(size, '\0');
    return text;
}

} // namespace Tracewell
