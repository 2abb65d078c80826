// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestFiles.h"

#include "DescriptorStreamBuffer.h"
#include "WdbBlockFreeList.h"
#include "WdbCFileBlockManager.h"
#include "WdbFileBlockManager.h"
#include "WdbMemoryBlockManager.h"

#include <gmock/gmock.h>

#include <limits>
#include <sstream>
#include <utility>
#include <vector>

namespace Tracewell {
namespace {

constexpr unsigned long long kHuge = std::numeric_limits<unsigned long long>::max();
constexpr long long kFar = std::numeric_limits<long long>::max();

void expectBlocksAreKept(WdbIBlockManager& manager, bool inFile)
{
    std::vector<std::pair<long long, std::string>> blocks;
    for (int i = 0; i < 50; ++i) {
        const std::string content(static_cast<std::size_t>(i), static_cast<char>('a' + i % 26));
        const long long handle = manager.addBlock(content.data(), content.size());
        if (inFile) {
            EXPECT_EQ(handle, i * (i - 1) / 2) << "freed space was used again";
        }
        if (i % 7 == 6) {
            manager.freeBlock(handle, content.size());
            continue;
        }
        blocks.emplace_back(handle, content);
        auto& [changedHandle, changed] = blocks[blocks.size() / 2];
        changed.replace(0, changed.size() / 2, changed.size() / 2, '#');
        manager.putBlock(changedHandle, changed.data(), changed.size() / 2);
    }
    for (const auto& [handle, expected] : blocks) {
        std::string content(expected.size(), '?');
        manager.getBlock(handle, content.data(), content.size());
        EXPECT_EQ(content, expected);
        manager.freeBlock(handle, content.size());
    }
}

TEST(BlockManagers, keepWhatWasStoredAndFilesOnlyGrow)
{
    const TestDirectory directory;
    WdbMemoryBlockManager memory;
    expectBlocksAreKept(memory, false);
    std::stringstream text;
    WdbFileBlockManager inText(text);
    expectBlocksAreKept(inText, true);
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(directory.path("own"), DescriptorFile::Mode::Create));
    WdbFileBlockManager inFile(stream);
    expectBlocksAreKept(inFile, true);
    std::FILE* const file = std::tmpfile();
    WdbCFileBlockManager inCFile;
    inCFile.setFile(file);
    expectBlocksAreKept(inCFile, true);
    std::fclose(file);
}

TEST(BlockFreeList, givesTheOldestBlockOfExactlyTheSize)
{
    WdbBlockFreeList list;
    for (const auto& [handle, size] : {std::pair{1, 50u}, {2, 200u}, {3, 100u}, {4, 100u}}) {
        list.putBlock(handle, size);
    }
    long long handle = -7;
    EXPECT_FALSE(list.getBlock(99, handle));
    EXPECT_EQ(handle, -7);
    EXPECT_TRUE(list.getBlock(100, handle) && handle == 3);
    EXPECT_TRUE(list.getBlock(100, handle) && handle == 4);
    EXPECT_FALSE(list.getBlock(100, handle));
}

TEST(BlockManagers, containsIsExactForAnyNumbers)
{
    const TestDirectory directory;
    writeFile(directory.path("ten"), "0123456789");
    std::stringstream text("0123456789");
    DescriptorStream stream;
    ASSERT_TRUE(stream.open(directory.path("ten"), DescriptorFile::Mode::Read));
    for (std::iostream* each :
         {static_cast<std::iostream*>(&text), static_cast<std::iostream*>(&stream)}) {
        const WdbFileBlockManager manager(*each);
        EXPECT_TRUE(manager.contains(0, 10) && manager.contains(10, 0));
        EXPECT_FALSE(manager.contains(9, 2) || manager.contains(11, 0));
        EXPECT_FALSE(manager.contains(-1, kHuge) || manager.contains(1, kHuge) ||
                     manager.contains(kFar, kHuge));
        EXPECT_TRUE(each->good());
    }
    stream.close();
    EXPECT_FALSE(WdbFileBlockManager(stream).contains(0, 0));
}

TEST(BlockManagers, readingAStreamToItsEndDoesNotDisturbThem)
{
    std::stringstream text("abc");
    WdbFileBlockManager manager(text);
    text.seekg(3).peek();
    ASSERT_TRUE(text.eof());
    EXPECT_EQ(manager.addBlock("d", 1), 3);
    text.seekg(4).peek();
    manager.putBlock(0, "A", 1);
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

} // namespace
} // namespace Tracewell
