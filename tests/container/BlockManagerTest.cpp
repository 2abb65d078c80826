#include "../support/TestFiles.h"

#include "DescriptorStreamBuffer.h"
#include "WdbBlockFreeList.h"
#include "WdbCFileBlockManager.h"
#include "WdbFileBlockManager.h"
#include "WdbMemoryBlockManager.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <thread>

namespace Tracewell {
namespace {

constexpr unsigned long long kHuge = std::numeric_limits<unsigned long long>::max();
constexpr long long kFar = std::numeric_limits<long long>::max();

struct Block
{
    long long handle;
    std::string content;
};

std::string randomBytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string load(const WdbIBlockManager& manager, const Block& block)
{
    std::string content(block.content.size(), '?');
    manager.getBlock(block.handle, content.data(), content.size());
    return content;
}

/// Random operations against a vector; a growing storage gives byte offsets and reuses nothing.
void compareWithModel(WdbIBlockManager& manager, bool growing, unsigned int seed)
{
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<Block> blocks;
    unsigned long long stored = 0;
    for (int step = 0; step < 500; ++step) {
        const std::string bytes = randomBytes(random, random() % 300);
        if (blocks.empty() || random() % 2 == 0) {
            const long long handle = manager.addBlock(bytes.data(), bytes.size());
            if (growing) {
                ASSERT_EQ(handle, static_cast<long long>(stored)) << "freed space was used again";
            }
            stored += bytes.size();
            blocks.push_back({handle, bytes});
            continue;
        }
        Block& block = blocks[random() % blocks.size()];
        if (random() % 4 == 0) {
            manager.freeBlock(block.handle, block.content.size());
            std::swap(block, blocks.back());
            blocks.pop_back();
            continue;
        }
        const std::size_t changed = std::min(bytes.size(), block.content.size());
        block.content.replace(0, changed, bytes, 0, changed);
        manager.putBlock(block.handle, bytes.data(), changed);
    }
    for (const Block& block : blocks) {
        EXPECT_EQ(load(manager, block), block.content);
        EXPECT_TRUE(manager.contains(block.handle, block.content.size()));
        if (!growing)
            manager.freeBlock(block.handle, block.content.size());
    }
}

TEST(BlockManagers, keepWhatWasStoredAndFilesOnlyGrow)
{
    const TestDirectory directory;
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        WdbMemoryBlockManager memory;
        compareWithModel(memory, false, seed);

        std::stringstream text;
        WdbFileBlockManager inText(text);
        compareWithModel(inText, true, seed);

        std::fstream standard(directory.path("standard"),
                              std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc);
        WdbFileBlockManager inStandard(standard);
        compareWithModel(inStandard, true, seed);

        DescriptorStream stream;
        ASSERT_TRUE(stream.open(directory.path("own"), DescriptorFile::Mode::Create));
        WdbFileBlockManager inFile(stream);
        compareWithModel(inFile, true, seed);

        std::FILE* const file = std::tmpfile();
        WdbCFileBlockManager inCFile;
        inCFile.setFile(file);
        compareWithModel(inCFile, true, seed);
        std::fclose(file);
    }
}

TEST(BlockManagers, freeListGivesTheOldestBlockOfExactlyTheSize)
{
    WdbBlockFreeList list;
    long long handle = -7;
    list.putBlock(1, 50);
    list.putBlock(2, 200);
    EXPECT_FALSE(list.getBlock(100, handle));
    EXPECT_EQ(handle, -7);
    list.putBlock(3, 100);
    list.putBlock(4, 100);
    WdbBlockFreeList copy(list);
    for (WdbBlockFreeList* each : {&list, &copy}) {
        EXPECT_TRUE(each->getBlock(100, handle));
        EXPECT_EQ(handle, 3);
        EXPECT_TRUE(each->getBlock(100, handle));
        EXPECT_EQ(handle, 4);
        EXPECT_FALSE(each->getBlock(100, handle));
    }
}

TEST(BlockManagers, cFileManagerReportsNothing)
{
    WdbCFileBlockManager manager;
    char bytes[2] = {'a', 'b'};
    EXPECT_EQ(manager.addBlock(bytes, 2), -1);
    manager.getBlock(0, bytes, 2);
    manager.putBlock(0, bytes, 2);
    std::FILE* const file = std::tmpfile();
    manager.setFile(file);
    manager.getBlock(-5, bytes, 2);
    manager.getBlock(100, bytes, 2);
    EXPECT_EQ(std::string(bytes, 2), "ab");
    std::fclose(file);
}

TEST(BlockManagers, containsIsExactForAnyNumbers)
{
    const TestDirectory directory;
    std::stringstream text("0123456789");
    DescriptorStream stream;
    writeFile(directory.path("ten"), text.str());
    ASSERT_TRUE(stream.open(directory.path("ten"), DescriptorFile::Mode::Read));
    for (std::basic_iostream<char>* each : {static_cast<std::basic_iostream<char>*>(&text),
                                            static_cast<std::basic_iostream<char>*>(&stream)}) {
        const WdbFileBlockManager manager(*each);
        EXPECT_TRUE(manager.contains(0, 10));
        EXPECT_TRUE(manager.contains(10, 0));
        EXPECT_TRUE(manager.contains(9, 1));
        EXPECT_FALSE(manager.contains(9, 2));
        EXPECT_FALSE(manager.contains(10, 1));
        EXPECT_FALSE(manager.contains(11, 0));
        EXPECT_FALSE(manager.contains(-1, 1));
        EXPECT_FALSE(manager.contains(-1, kHuge));
        EXPECT_FALSE(manager.contains(1, kHuge));
        EXPECT_FALSE(manager.contains(kFar, 1));
        EXPECT_FALSE(manager.contains(kFar, kHuge));
        EXPECT_TRUE(each->good());
    }
    stream.close();
    EXPECT_FALSE(WdbFileBlockManager(stream).contains(0, 0));
}

TEST(BlockManagers, readingAStreamToItsEndDoesNotDisturbThem)
{
    std::stringstream text("abc");
    WdbFileBlockManager manager(text);
    const auto readToEnd = [&text] {
        text.seekg(3);
        text.peek();
        ASSERT_TRUE(text.eof());
    };
    char byte = 0;
    readToEnd();
    EXPECT_EQ(manager.addBlock("d", 1), 3);
    text.seekg(4);
    text.peek();
    manager.putBlock(0, "A", 1);
    text.seekg(4);
    text.peek();
    manager.getBlock(0, &byte, 1);
    EXPECT_EQ(byte, 'A');
    EXPECT_EQ(text.str(), "Abcd");
}

TEST(BlockManagersDeathTest, brokenTransferIsOneLineAndTheEnd)
{
    const TestDirectory directory;
    writeFile(directory.path("file"), "0123456789");
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(directory.path("file"), DescriptorFile::Mode::Read));
    WdbFileBlockManager manager(stream);
    char bytes[16] = {};
    const auto dies = ::testing::ExitedWithCode(1);
    const auto line = [](const std::string& verb, const std::string& reason) {
        return ::testing::StrEq(
            "WDB FATAL ERROR: failed to " + verb +
            " file block (WdbFileBlockManager) for the following reason: " + reason + "\n");
    };
    EXPECT_EXIT(manager.getBlock(5, bytes, 6), dies, line("get", "No data available"));
    EXPECT_EXIT(manager.getBlock(-1, bytes, 1), dies, line("get", "Invalid argument"));
    EXPECT_EXIT(manager.addBlock("x", 1), dies, line("add", "Bad file descriptor"));
    EXPECT_EXIT(manager.putBlock(0, "x", 1), dies, line("put", "Bad file descriptor"));
    stream.close();
    EXPECT_EXIT(manager.getBlock(0, bytes, 1), dies, line("get", "Bad file descriptor"));
    EXPECT_EQ(readFile(directory.path("file")), "0123456789");
}

TEST(BlockManagers, threadsMayShareAFile)
{
    const TestDirectory directory;
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(directory.path("shared"), DescriptorFile::Mode::Create));
    WdbFileBlockManager manager(stream);
    const auto work = [&manager](unsigned int seed) {
        std::mt19937 random(seed);
        std::vector<Block> blocks;
        for (int i = 0; i < 200; ++i) {
            const std::string bytes = randomBytes(random, 1 + random() % 100);
            blocks.push_back({manager.addBlock(bytes.data(), bytes.size()), bytes});
            const Block& block = blocks[random() % blocks.size()];
            EXPECT_TRUE(manager.contains(block.handle, block.content.size()));
            EXPECT_EQ(load(manager, block), block.content);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int seed = 1; seed <= 4; ++seed)
        threads.emplace_back(work, seed);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
} // namespace Tracewell
