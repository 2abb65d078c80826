// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestFiles.h"

#include "WdbAppendingBlockList.h"
#include "WdbAppendingStringBlockList.h"

#include <functional>
#include <random>
#include <tuple>
#include <vector>

namespace Tracewell {
namespace {

/// A file in memory, which says after each change what another process would see.
class StoredBytes : public WdbIBlockManager
{
public:
    explicit StoredBytes(std::string bytes = std::string(8, '\0')) : m_bytes(std::move(bytes)) {}

    long long addBlock(const char* data, unsigned long long size) override
    {
        const auto handle = static_cast<long long>(m_bytes.size());
        m_bytes.append(data, size);
        m_afterChange();
        return handle;
    }
    void getBlock(long long handle, char* out, unsigned long long size) const override
    {
        ASSERT_TRUE(contains(handle, size)) << "a handle was not tested";
        m_bytes.copy(out, size, static_cast<std::size_t>(handle));
    }
    void putBlock(long long handle, const char* data, unsigned long long size) override
    {
        ASSERT_TRUE(contains(handle, size));
        m_bytes.replace(static_cast<std::size_t>(handle), size, data, size);
        m_afterChange();
    }
    void freeBlock(long long, unsigned long long) override {}
    bool contains(long long handle, unsigned long long size) const override
    {
        const unsigned long long length = m_bytes.size();
        const auto offset = static_cast<unsigned long long>(handle);
        return handle >= 0 && offset <= length && size <= length - offset;
    }

    std::string m_bytes;
    std::function<void()> m_afterChange = [] {};
};

/// Holds one text for either kind of list; the empty text is an item without content.
struct TextItem
{
    TextItem(unsigned int /*itemParameter*/, long long /*baseAddress*/) {}
    void clear() { m_text.clear(); }
    long long addBlock(WdbIBlockManager& manager, unsigned int& size) const
    {
        size = static_cast<unsigned int>(m_text.size());
        return m_text.empty() ? 0 : manager.addBlock(m_text.data(), size);
    }
    long long addBlock(WdbIBlockManager& manager, unsigned int& size, long long& startId,
                       unsigned int& count) const
    {
        startId = -5000000000;
        count = 7;
        return addBlock(manager, size);
    }

    std::string m_text;
};

constexpr auto kWriting = WdbBlockListAccess::Writing;
constexpr auto kReading = WdbBlockListAccess::Reading;
template <unsigned int N> using List = WdbAppendingBlockList<TextItem, N>;
template <unsigned int N> using StringList = WdbAppendingStringBlockList<TextItem, N>;
using Entries = std::vector<std::pair<long long, unsigned int>>;

template <class Iterator> Entries entriesFrom(Iterator iterator)
{
    Entries entries;
    for (; iterator; ++iterator) {
        entries.emplace_back(iterator.getHandle(), iterator.getSize());
    }
    EXPECT_FALSE(++iterator);
    EXPECT_EQ(iterator.getHandle(), 0);
    EXPECT_EQ(iterator.getSize(), 0u);
    return entries;
}

/// What a reader of the same storage finds.
template <class L> Entries entriesOf(WdbIBlockManager& manager)
{
    return entriesFrom(L(manager, 0, 0, 0, kReading).begin());
}

std::string node10(long long next, const Entries& entries)
{
    std::string handles;
    std::string sizes;
    for (const auto& [handle, size] : entries) {
        handles += littleEndian(static_cast<unsigned long long>(handle), 8);
        sizes += littleEndian(size, 4);
    }
    return littleEndian(static_cast<unsigned long long>(next), 8) + padded(handles, 80) +
           padded(sizes, 40) + littleEndian(entries.size(), 4) + littleEndian(0, 4);
}

TEST(BlockList, nodesLieInTheFileAsLaidOut)
{
    StoredBytes file;
    Entries entries;
    {
        List<10> list(file, 0, 0, 0, kWriting);
        const std::string empty = littleEndian(8, 8) + node10(0, {});
        EXPECT_EQ(file.m_bytes, empty);
        for (unsigned int i = 0; i < 10; ++i) {
            entries.emplace_back(0x123456789AB + i, 0x80000000u + i);
            list.addEntry(entries.back().first, entries.back().second);
        }
        EXPECT_EQ(file.m_bytes, empty) << "a node waits for its successor or a flush";
        list.addEntry(77, 5);
        EXPECT_EQ(file.m_bytes, littleEndian(8, 8) + node10(144, entries) + node10(0, {{77, 5}}));
        list.addEntry(78, 6);
    }
    EXPECT_EQ(file.m_bytes,
              littleEndian(8, 8) + node10(144, entries) + node10(0, {{77, 5}, {78, 6}}));
}

/// Random appends, flushes and views; after every single change of the storage a reader finds the
/// oldest entries: all of them but at most one node's and the one on its way.
template <class L, unsigned int N> void compareWithModel(unsigned int seed)
{
    SCOPED_TRACE(seed);
    std::mt19937 random(Tracewell::seeded(seed));
    StoredBytes file;
    Entries model;
    {
        L list(file, 0, 0, 0, kWriting);
        file.m_afterChange = [&] {
            const Entries seen = entriesOf<L>(file);
            ASSERT_LE(seen.size(), model.size());
            ASSERT_GE(seen.size() + N + 1, model.size());
            EXPECT_TRUE(std::equal(seen.begin(), seen.end(), model.begin()));
        };
        const auto fillItem = [&](const std::string& text) {
            EXPECT_EQ(list.openItem().m_text, "") << "an item was not cleared";
            list.openItem().m_text = text;
            EXPECT_TRUE(list.isItemOpen());
            if (!text.empty()) {
                model.emplace_back(file.m_bytes.size(), text.size());
            }
        };
        for (int step = 0; step < 300; ++step) {
            switch (random() % 8) {
            case 0:
                list.flushNode();
                EXPECT_EQ(entriesOf<L>(file), model);
                break;
            case 1:
                EXPECT_EQ(entriesFrom(list.begin()), model);
                break;
            default:
                fillItem(std::string(random() % 5, 'x'));
                list.flushOpenItem();
            }
            EXPECT_FALSE(list.isItemOpen());
        }
        fillItem("last");
    }
    EXPECT_EQ(entriesOf<L>(file), model) << "the destructor flushes item and node";
}

TEST(BlockList, behavesLikeAVectorAndIsSoundAfterEveryChange)
{
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        compareWithModel<List<1>, 1>(seed);
        compareWithModel<List<3>, 3>(seed);
        compareWithModel<List<100>, 100>(seed);
        compareWithModel<StringList<3>, 3>(seed);
    }
}

TEST(BlockList, anIteratorKeepsToTheNodeThatItRead)
{
    StoredBytes file;
    List<3> list(file, 0, 0, 0, kWriting);
    list.addEntry(1, 1);
    const auto before = list.begin();
    for (int i = 2; i <= 5; ++i) {
        list.addEntry(i, 1);
    }
    list.flushNode();
    EXPECT_EQ(entriesFrom(before).size(), 1u);
    EXPECT_EQ(entriesFrom(list.begin()).size(), 5u);
}

std::size_t countEntries(StoredBytes& file)
{
    return entriesOf<List<10>>(file).size();
}

TEST(DamagedBlockList, badCountsAndPointersEndTheChain)
{
    const Entries three = {{1, 1}, {2, 2}, {3, 3}};
    const std::string anchor = littleEndian(8, 8);
    for (long long next : {-1LL, 9LL, 145LL, 1LL << 62, -(1LL << 62)}) {
        StoredBytes file(anchor + node10(next, three));
        EXPECT_EQ(countEntries(file), 3u);
    }
    StoredBytes overfull(anchor + node10(0, three).substr(0, 128) + littleEndian(0xFFFFFFFF, 8));
    EXPECT_EQ(countEntries(overfull), 10u);
    StoredBytes cut(anchor + node10(0, three).substr(0, 135));
    EXPECT_EQ(countEntries(cut), 0u);
    StoredBytes emptyBetween(anchor + node10(144, three) + node10(280, {}) + node10(0, three));
    EXPECT_EQ(countEntries(emptyBetween), 6u) << "what lies behind an empty node is found";
}

TEST(DamagedBlockList, circlesOfAnyShapeEnd)
{
    for (int tail = 0; tail < 12; ++tail) {
        for (int circle = 1; circle < 12; ++circle) {
            StoredBytes file(littleEndian(8, 8));
            for (int node = 1; node <= tail + circle; ++node) {
                file.m_bytes +=
                    node10(8 + 136 * (node == tail + circle ? tail : node), {{node, 1}});
            }
            const auto nodes = static_cast<std::size_t>(tail + circle);
            EXPECT_EQ(countEntries(file), nodes) << "no more nodes than the file holds";
            file.m_bytes += std::string(1000000, '\0');
            EXPECT_GE(countEntries(file), nodes);
            EXPECT_LE(countEntries(file), 4 * nodes)
                << "the circle, not the file's length, ends it";
        }
    }
    StoredBytes overlapping{std::string()};
    for (unsigned long long at = 0; at < 80000; at += 8) {
        overlapping.m_bytes += littleEndian(at + 8, 8);
    }
    EXPECT_LE(countEntries(overlapping), 10 * overlapping.m_bytes.size() / 136);
}

} // namespace
} // namespace Tracewell
