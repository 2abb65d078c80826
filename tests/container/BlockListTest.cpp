#include "../support/TestFiles.h"

#include "WdbAppendingBlockList.h"
#include "WdbAppendingStringBlockList.h"
#include "WdbFileBlockManager.h"
#include "WdbMemoryBlockManager.h"

#include <functional>
#include <random>
#include <sstream>
#include <vector>

namespace Tracewell {
namespace {

/// A file in memory, which says after each change what another process would see.
class StoredBytes : public WdbIBlockManager
{
public:
    explicit StoredBytes(std::string bytes) : m_bytes(std::move(bytes)) {}

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

/// An item that holds one text; the empty text is an item without content.
struct TextItem
{
    TextItem(unsigned int itemParameter, long long baseAddress)
        : m_parameter(itemParameter), m_base(baseAddress)
    {}
    void clear() { m_text.clear(); }
    long long addBlock(WdbIBlockManager& manager, unsigned int& size) const
    {
        size = static_cast<unsigned int>(m_text.size());
        return m_text.empty() ? 0 : manager.addBlock(m_text.data(), size);
    }

    unsigned int m_parameter;
    long long m_base;
    std::string m_text;
};

/// The same for a string list: the text's length and size stand for its ids.
struct NumberedItem
{
    explicit NumberedItem(unsigned int) {}
    void clear() { m_text.clear(); }
    long long addBlock(WdbIBlockManager& manager, unsigned int& size, long long& startId,
                       unsigned int& count) const
    {
        size = static_cast<unsigned int>(m_text.size());
        startId = -5000000000 - size;
        count = size + 7;
        return m_text.empty() ? 0 : manager.addBlock(m_text.data(), size);
    }

    std::string m_text;
};

constexpr auto kWriting = WdbBlockListAccess::Writing;
constexpr auto kReading = WdbBlockListAccess::Reading;

using Entries = std::vector<std::pair<long long, unsigned int>>;

template <class Iterator> Entries entriesFrom(Iterator iterator)
{
    Entries entries;
    for (; !iterator.isEof(); ++iterator) {
        EXPECT_TRUE(iterator);
        entries.emplace_back(iterator.getHandle(), iterator.getSize());
    }
    ++iterator;
    EXPECT_FALSE(iterator);
    EXPECT_EQ(iterator.getHandle(), 0);
    EXPECT_EQ(iterator.getSize(), 0u);
    return entries;
}

/// What a reader of the same storage finds.
template <class List> Entries entriesOf(WdbIBlockManager& manager)
{
    return entriesFrom(List(manager, 0, 0, 0, kReading).begin());
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
    StoredBytes file(std::string(8, '\0'));
    Entries entries;
    {
        WdbAppendingBlockList<TextItem, 10> list(file, 0, 0, 0, kWriting);
        const std::string empty = littleEndian(8, 8) + node10(0, {});
        EXPECT_EQ(file.m_bytes, empty);
        EXPECT_TRUE(list.begin().isEof());
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

TEST(BlockList, stringNodesLieInTheFileAsLaidOut)
{
    StoredBytes file(std::string(8, '\0'));
    WdbAppendingStringBlockList<NumberedItem, 100> list(file, 0, 0, 0, kWriting);
    list.addEntry(0x1122334455, 0x66778899AA, 21, 22);
    list.addEntry(2, 3, 4, 5);
    list.flushNode();
    EXPECT_EQ(file.m_bytes, littleEndian(8, 8) + littleEndian(0, 8) +
                                padded(littleEndian(0x1122334455, 8) + littleEndian(2, 8), 800) +
                                padded(littleEndian(0x66778899AA, 8) + littleEndian(3, 8), 800) +
                                padded(littleEndian(21, 4) + littleEndian(4, 4), 400) +
                                padded(littleEndian(22, 4) + littleEndian(5, 4), 400) +
                                littleEndian(2, 4) + littleEndian(0, 4));
}

/// Random appends, flushes and views; after every single change of the storage a reader finds the
/// oldest entries: all of them but at most one node's and the one on its way.
template <class List, unsigned int N> void compareWithModel(unsigned int seed)
{
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    StoredBytes file(std::string(8, '\0'));
    Entries model;
    {
        List list(file, 0, 64, 4096, kWriting);
        const auto compare = [&](std::size_t missing) {
            const Entries seen = entriesOf<List>(file);
            ASSERT_LE(seen.size(), model.size());
            ASSERT_GE(seen.size() + missing, model.size());
            EXPECT_TRUE(std::equal(seen.begin(), seen.end(), model.begin()));
        };
        file.m_afterChange = [&] { compare(N + 1); };
        const auto expect = [&](long long handle, std::size_t size) {
            model.emplace_back(handle, static_cast<unsigned int>(size));
        };
        for (int step = 0; step < 300; ++step) {
            const std::string text(random() % 5, 'x');
            switch (random() % 8) {
            case 0:
                list.flushNode();
                compare(0);
                break;
            case 1:
                EXPECT_EQ(entriesFrom(list.begin()), model);
                EXPECT_FALSE(list.isItemOpen());
                break;
            case 2: {
                list.openItem().m_text = text;
                auto item = list.takeOpenItem(nullptr);
                EXPECT_EQ(item->m_text, text);
                EXPECT_EQ(list.getItem(), nullptr);
                EXPECT_FALSE(list.isItemOpen());
                break;
            }
            default: {
                list.openItem().m_text = text;
                EXPECT_TRUE(list.isItemOpen());
                const auto handle = static_cast<long long>(file.m_bytes.size());
                if (!text.empty())
                    expect(handle, text.size());
                list.flushOpenItem();
                EXPECT_FALSE(list.isItemOpen());
                EXPECT_EQ(list.openItem().m_text, "") << "the item was not cleared";
                break;
            }
            }
        }
        list.openItem().m_text = "last";
        expect(static_cast<long long>(file.m_bytes.size()), 4);
    }
    EXPECT_EQ(entriesOf<List>(file), model) << "the destructor flushes item and node";
}

TEST(BlockList, behavesLikeAVectorAndIsSoundAfterEveryChange)
{
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        compareWithModel<WdbAppendingBlockList<TextItem, 1>, 1>(seed);
        compareWithModel<WdbAppendingBlockList<TextItem, 3>, 3>(seed);
        compareWithModel<WdbAppendingBlockList<TextItem, 100>, 100>(seed);
        compareWithModel<WdbAppendingStringBlockList<NumberedItem, 3>, 3>(seed);
    }
}

TEST(BlockList, lastEntryIsTheLastOneInTheFile)
{
    StoredBytes file(std::string(8, '\0'));
    WdbAppendingBlockList<TextItem, 3> list(file, 0, 0, 0, kWriting);
    long long handle = -1;
    unsigned int size = 0;
    EXPECT_FALSE(list.findLastEntry(handle, size));
    EXPECT_EQ(handle, -1);
    for (unsigned int i = 1; i <= 20; ++i) {
        list.addEntry(1000 + i, i);
        list.flushNode();
        ASSERT_TRUE(list.findLastEntry(handle, size));
        EXPECT_EQ(handle, 1000 + i);
        EXPECT_EQ(size, i);
    }

    StoredBytes strings(std::string(8, '\0'));
    WdbAppendingStringBlockList<NumberedItem, 3> numbered(strings, 0, 0, 0, kWriting);
    numbered.openItem().m_text = "abc";
    auto first = numbered.begin();
    EXPECT_EQ(first.getStartId(), -5000000003);
    EXPECT_EQ(first.getCount(), 10u);
    long long startId = 0;
    unsigned int count = 0;
    ASSERT_TRUE(numbered.findLastEntry(handle, startId, size, count));
    EXPECT_EQ(std::make_tuple(handle, startId, size, count),
              std::make_tuple(first.getHandle(), -5000000003LL, 3u, 10u));
}

TEST(BlockList, iteratorKeepsToTheNodeThatItRead)
{
    StoredBytes file(std::string(8, '\0'));
    WdbAppendingBlockList<TextItem, 3> list(file, 0, 0, 0, kWriting);
    list.addEntry(1, 1);
    const auto early = list.begin();
    list.addEntry(2, 2);
    list.addEntry(3, 3);
    list.addEntry(4, 4);
    const auto late = list.begin();
    list.addEntry(5, 5);
    list.flushNode();
    EXPECT_EQ(entriesFrom(early), (Entries{{1, 1}}));
    EXPECT_EQ(entriesFrom(late), (Entries{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}}));
}

TEST(BlockList, itemsAreMadeFromParameterAndBaseAndReplacementsServe)
{
    WdbMemoryBlockManager memory;
    const long long anchor = memory.addBlock(std::string(8, '\0').data(), 8);
    WdbAppendingBlockList<TextItem, 10> list(memory, anchor, 64, 4096, kWriting);
    EXPECT_EQ(list.getItem(), nullptr);
    EXPECT_EQ(list.getBaseAddress(), 4096);
    EXPECT_EQ(list.openItem().m_parameter, 64u);
    EXPECT_EQ(list.openItem().m_base, 4096);
    auto replacement = std::make_unique<TextItem>(1u, 2LL);
    TextItem* const expected = replacement.get();
    list.takeOpenItem(std::move(replacement));
    EXPECT_FALSE(list.isItemOpen());
    EXPECT_EQ(&list.openItem(), expected);
    memory.freeBlock(list.getFirstNode(), sizeof(WdbBlockListNode<10>));
    memory.freeBlock(anchor, 8);
}

TEST(BlockList, readingStoresNothing)
{
    for (const std::string& bytes : {std::string(8, '\0'), littleEndian(5000, 8), std::string()}) {
        StoredBytes file(bytes);
        file.m_afterChange = [] { FAIL() << "reading wrote"; };
        WdbAppendingBlockList<TextItem, 10> list(file, 0, 0, 0, kReading);
        EXPECT_TRUE(list.begin().isEof());
        list.openItem().m_text = "abc";
        list.flushOpenItem();
        list.addEntry(1, 2);
        list.flushNode();
        long long handle = 0;
        unsigned int size = 0;
        EXPECT_FALSE(list.findLastEntry(handle, size));
        EXPECT_EQ(file.m_bytes, bytes);
    }
}

/// Walks both ways; returns how many entries came.
std::size_t walk(StoredBytes& file)
{
    using List = WdbAppendingBlockList<TextItem, 10>;
    long long handle = 0;
    unsigned int size = 0;
    List(file, 0, 0, 0, kReading).findLastEntry(handle, size);
    return entriesOf<List>(file).size();
}

TEST(DamagedBlockList, badCountsAndPointersEndTheChain)
{
    const Entries three = {{1, 1}, {2, 2}, {3, 3}};
    const std::string anchor = littleEndian(8, 8);
    for (long long next : {-1LL, 9LL, 145LL, 1LL << 62, -(1LL << 62)}) {
        StoredBytes file(anchor + node10(next, three));
        EXPECT_EQ(walk(file), 3u);
    }
    StoredBytes overfull(anchor + node10(0, three).substr(0, 128) + littleEndian(0xFFFFFFFF, 8));
    EXPECT_EQ(walk(overfull), 10u);
    StoredBytes cut(anchor + node10(0, three).substr(0, 135));
    EXPECT_EQ(walk(cut), 0u);
    StoredBytes emptyBetween(anchor + node10(144, three) + node10(280, {}) + node10(0, three));
    EXPECT_EQ(walk(emptyBetween), 6u) << "what lies behind an empty node is found";
}

TEST(DamagedBlockList, circlesOfAnyShapeEnd)
{
    for (int tail = 0; tail < 12; ++tail) {
        for (int circle = 1; circle < 12; ++circle) {
            std::string bytes = littleEndian(8, 8);
            for (int node = 1; node <= tail + circle; ++node) {
                const int next = node == tail + circle ? tail : node;
                bytes += node10(8 + 136 * next, {{node, 1}});
            }
            StoredBytes file(bytes);
            const auto nodes = static_cast<std::size_t>(tail + circle);
            EXPECT_EQ(walk(file), nodes) << "no more nodes than the file holds";
            file.m_bytes += std::string(1000000, '\0');
            EXPECT_GE(walk(file), nodes);
            EXPECT_LE(walk(file), 4 * nodes) << "the circle, not the file's length, ends it";
        }
    }
    // Nodes that overlap, each pointing 8 bytes on.
    std::string ramp;
    for (unsigned long long at = 0; at < 80000; at += 8)
        ramp += littleEndian(at + 8, 8);
    StoredBytes file(ramp);
    EXPECT_LE(walk(file), 10 * ramp.size() / 136);
}

} // namespace
} // namespace Tracewell
