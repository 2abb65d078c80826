// SPDX-License-Identifier: BSD-3-Clause

#include "FileIO.h"
#include "InitialValueTable.h"
#include "TransitionPool.h"

#include "testing/TestFiles.h"

#include <gtest/gtest.h>

namespace Tracewell {
namespace {

TEST(TransitionPool, evictsTheBlockAllocatedLongestAgoOnceOverItsLimit)
{
    TransitionPool pool(60, 3);
    int owners[5];
    const auto take = [&](int owner) {
        ListNode* const node = pool.allocate(18);
        void* const former = node->owner;
        node->owner = &owners[owner];
        return former ? static_cast<int>(static_cast<int*>(former) - owners) : -1;
    };
    // Two blocks of 20 bytes at first; the limit allows one growth, by as many as there are.
    EXPECT_EQ(take(0), -1);
    EXPECT_EQ(take(1), -1);
    EXPECT_EQ(take(2), -1);
    EXPECT_EQ(take(3), -1);
    EXPECT_EQ(pool.allocatedBytes(), 80U);
    EXPECT_EQ(take(4), 0);
    EXPECT_EQ(take(0), 1);

    ListNode* const node = pool.allocate(17);
    EXPECT_EQ(node->owner, &owners[2]);
    pool.release(node);
    EXPECT_EQ(pool.allocate(20), node);
    pool.reset();
    EXPECT_EQ(take(1), -1);

    // Below the smallest number of blocks a size grows whatever the limit.
    for (int i = 0; i < 4; ++i) {
        ListNode* const other = pool.allocate(100);
        EXPECT_EQ(other->owner, nullptr);
        other->owner = owners;
    }
    EXPECT_NE(pool.allocate(100)->owner, nullptr);

    // A size doubles, but by no more than a million bytes at once.
    TransitionPool large(10'000'000, 0);
    for (int i = 0; i < 5; ++i) {
        large.allocate(300'000)->owner = owners;
    }
    EXPECT_EQ(large.allocatedBytes(), 7 * 300'000U);
}

TEST(InitialValueTable, hasThreeSavedForms)
{
    const TestDirectory directory;
    const std::string name = directory.path("values");
    const auto saved = [&](const InitialValueTable& table) {
        FileIO file;
        EXPECT_TRUE(file.open(name, FileIO::Write));
        table.save(file);
        EXPECT_TRUE(file.close());
        InitialValueTable copy;
        EXPECT_TRUE(file.open(name, FileIO::Read) && copy.load(file, file.getFileSize()));
        for (const std::uint32_t id : {0U, 2U, 3U, 0x100000U, 0x3FFFFFU, 0x80000000U}) {
            Value value;
            Value copied;
            EXPECT_EQ(table.get(id, value), copy.get(id, copied));
            EXPECT_EQ(table.kindOf(id), copy.kindOf(id));
            EXPECT_EQ(value.getByte(), copied.getByte());
        }
        // Nothing but the whole of it loads.
        InitialValueTable part;
        EXPECT_FALSE(file.setOffset(0) && part.load(file, file.getFileSize() - 1));
        return readFile(name);
    };
    InitialValueTable table;
    // The largest id 0 is that of an empty table, so the value of id 0 alone is not saved.
    EXPECT_EQ(saved(table), halfWords(0));
    table.put(2, ValueBit, 1);
    table.put(3, ValueByte, 7);
    EXPECT_EQ(saved(table), halfWords(3) + std::string("\0\0\x11\0", 4));
    table.put(0xFFFFF, ValueBit, 1);
    EXPECT_EQ(saved(table).size(), 4U + (1U << 20));
    table.put(0x100000, ValueBit, 0);
    EXPECT_EQ(saved(table).size(), 4U + 2048 + 2 * (1U << 20));
    table.put(0x3FFFFF, ValueStdLogic, 8);
    table.put(0x80000000, ValueVlog, 1);
    const std::string pages = saved(table);
    EXPECT_EQ(pages.size(), 4U + 2048 + 3 * (1U << 20));
    EXPECT_EQ(pages.substr(0, 9), halfWords(0x80000000) + std::string("\1\1\0\1\0", 5));
    EXPECT_EQ(pages[4 + 2048 + 2], '\x11');
    EXPECT_EQ(pages.back(), '\x48');
    table.clear();
    EXPECT_EQ(saved(table), halfWords(0));
}

} // namespace
} // namespace Tracewell
