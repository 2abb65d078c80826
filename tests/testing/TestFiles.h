// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "QsimException.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
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
    for (int i = 0; i < size; ++i, value >>= 8) {
        bytes += static_cast<char>(value & 0xff);
    }
    return bytes;
}

/// Numbers of 8 bytes.
template <class... Numbers> std::string words(Numbers... numbers)
{
    return (std::string() + ... + littleEndian(static_cast<unsigned long long>(numbers), 8));
}

/// Numbers of 4 bytes.
template <class... Numbers> std::string halfWords(Numbers... numbers)
{
    return (std::string() + ... + littleEndian(static_cast<unsigned long long>(numbers), 4));
}

inline std::string padded(std::string text, std::size_t size)
{
    text.resize(size, '\0');
    return text;
}

/// What an operation is refused with.
template <class Operation> std::string openErrorOf(Operation operation)
{
    try {
        operation();
    } catch (const Qsim::OpenException& exception) {
        return exception.getMessage();
    }
    return "no exception";
}

/// A container with some of the numbers that do most harm behind its version, and perhaps cut.
inline std::string damaged(std::string bytes, std::mt19937_64& random)
{
    const unsigned long long size = bytes.size();
    for (unsigned long long count = 1 + random() % 6; count > 0; --count) {
        const unsigned long long numbers[] = {0,          1,          8,        64,
                                              size - 1,   size,       ~0ull,    ~0ull >> 1,
                                              1ull << 63, 1ull << 33, random(), random() % size};
        const int width = 1 << random() % 4;
        const std::size_t at = 24 + random() % (size - 32);
        bytes.replace(random() % 4 == 0 ? at : at / 4 * 4, static_cast<std::size_t>(width),
                      littleEndian(numbers[random() % std::size(numbers)], width));
    }
    if (random() % 4 == 0) {
        bytes.resize(64 + random() % (size - 64));
    }
    return bytes;
}

} // namespace Tracewell
