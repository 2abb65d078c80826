// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "WdbMultipleBucketBtreeDatabase.h"

#include <optional>
#include <stdexcept>
#include <tuple>

namespace Tracewell {
namespace {

constexpr std::size_t kNodeSize = 27216;
constexpr std::size_t kHeaderSize = 272;

/// A tree in a container, and the managers that it needs.
class TreeFile
{
public:
    TreeFile()
        : m_nodes(m_container.files().getiostream(), 3),
          m_data(m_container.files().getiostream(), 100)
    {
        const long long nothing = 0;
        m_entry = m_container.blocks().addBlock(reinterpret_cast<const char*>(&nothing), 8);
        m_tree.emplace(m_nodes, m_data, m_entry, 10240, kBase);
    }

    /// One block with an event at each of the times.
    void addBlock(std::initializer_list<TestEvent> events)
    {
        for (const TestEvent& event : events) {
            add(m_tree->getEventBlock(), event);
        }
        m_tree->saveEventBlock();
    }
    std::string at(long long place, std::size_t size)
    {
        m_nodes.sync();
        return m_container.content().substr(static_cast<std::size_t>(place), size);
    }
    long long getNumber(long long place)
    {
        m_nodes.sync();
        long long number = 0;
        m_container.blocks().getBlock(place, reinterpret_cast<char*>(&number), 8);
        return number;
    }
    /// Past the caches, which forget.
    void set(long long place, long long number)
    {
        m_nodes.reset();
        m_data.reset();
        m_container.blocks().putBlock(place, reinterpret_cast<const char*>(&number), 8);
    }
    long long getHeader() { return getNumber(m_entry); }
    WdbEventBtree& tree() { return *m_tree; }

    /// The start of the block that a search finds.
    std::optional<long long> find(long long address, long long time)
    {
        WdbEventBlock block(10240, 0);
        if (!m_tree->findEventBlock(address, time, block)) {
            return std::nullopt;
        }
        return block.getStartTime();
    }

    static constexpr long long kBase = 4096;

private:
    TestContainer m_container;
    WdbFileBlockManagerWithWriteCache m_nodes;
    WdbFileBlockManagerWithCache m_data;
    long long m_entry = 0;
    std::optional<WdbEventBtree> m_tree;
};

std::string key(std::initializer_list<int> offsets)
{
    std::string bytes(256, '\0');
    for (const int offset : offsets) {
        bytes[static_cast<std::size_t>(offset / 8)] =
            static_cast<char>(bytes[static_cast<std::size_t>(offset / 8)] | 1 << offset % 8);
    }
    return bytes;
}

TEST(EventBtree, bytesOfHeaderRecordAndNode)
{
    TreeFile file;
    file.tree().setStartTime(1000);
    file.addBlock({{1000, 4096 + 3, "a"}, {1040, 4096 + 3, "b"}});
    file.addBlock({{1100, 4096 + 9, "cd"}});
    file.addBlock({{1070, 4096 + 9, "e"}, {1075, 4096 + 9, "f"}});
    file.tree().flush();

    const long long header = file.getHeader();
    const long long root = file.getNumber(header);
    EXPECT_EQ(file.at(header, kHeaderSize), words(root, 1000) + std::string(256, '\0'));
    // Root, first and second block, first record, third block, the other records.
    const long long firstBlock = root + static_cast<long long>(kNodeSize);
    const long long records[] = {file.getNumber(root), file.getNumber(root + 8),
                                 file.getNumber(root + 16)};
    const long long secondBlock = file.getNumber(records[1]);
    EXPECT_EQ(file.at(records[0], 24),
              words(firstBlock) + halfWords(secondBlock - firstBlock, 0) + words(40))
        << "40 is the gap between the two events";
    EXPECT_EQ(file.at(records[1], 24),
              words(secondBlock) + halfWords(records[0] - secondBlock, 0) + words(0));
    EXPECT_EQ(file.at(root, kNodeSize), padded(words(records[0], records[1], records[2]), 800) +
                                            padded(words(100, 70, 75), 800) + words(40) +
                                            padded(key({3}) + key({9, 10}) + key({9}), 25600) +
                                            halfWords(3) + std::string("\1\0\0\0", 4));
    EXPECT_EQ(file.find(4096 + 9, 1090), 1070) << "behind a step back of the time";
}

TEST(EventBtree, fullNodeGetsANeighbourAndARoot)
{
    TreeFile file;
    for (int i = 0; i < 101; ++i) {
        file.addBlock({{i * 10, 4096 + i, "v"}});
    }
    const long long leaf = file.getNumber(file.getHeader());
    file.tree().flush();
    const long long root = file.getNumber(file.getHeader());
    EXPECT_NE(root, leaf);
    EXPECT_EQ(file.at(root, 16), words(leaf, root - static_cast<long long>(kNodeSize)));
    EXPECT_EQ(file.at(root + 800, 16), words(1000, 1000));
    EXPECT_EQ(file.at(root + 27208, 8), halfWords(2, 0));
    EXPECT_EQ(file.at(leaf + 27208, 8), halfWords(100, 1));
}

/// What a search finds in a tree of two levels with that damage. Walks it as well.
template <class Damage> std::optional<long long> findIn(const Damage& damage)
{
    TreeFile file;
    for (int i = 0; i < 250; ++i) {
        file.addBlock({{i, 4096 + i % 9, "v"}});
    }
    file.tree().flush();
    damage(file, file.getNumber(file.getHeader()));
    WdbEventBlock block(10240, 0);
    int steps = 0;
    for (auto it = file.tree().getEventBlockIterator(-1); it; ++it, ++steps) {
        it.getEventBlock(block);
    }
    EXPECT_LT(steps, 1000);
    return file.find(4096, 250);
}

TEST(EventBtree, damagedIndexEndsWalksAndSearches)
{
    const auto nothing = [](TreeFile&, long long) {};
    EXPECT_EQ(findIn(nothing), 243);
    const auto lostChild = [](TreeFile& file, long long root) { file.set(root + 16, 1LL << 40); };
    EXPECT_EQ(findIn(lostChild), std::nullopt);
    const auto circle = [](TreeFile& file, long long root) { file.set(root + 16, root); };
    EXPECT_EQ(findIn(circle), std::nullopt);
    const auto highCount = [](TreeFile& file, long long root) { file.set(root + 27208, 101); };
    EXPECT_EQ(findIn(highCount), std::nullopt);
    const auto longBlock = [](TreeFile& file, long long root) {
        file.set(file.getNumber(file.getNumber(root + 16) + 8 * 43) + 8, 1 << 30);
    };
    EXPECT_EQ(findIn(longBlock), std::nullopt);
}

// A killed writer leaves nodes of different ages: the first leaf as it was when it was empty, say,
// beside a neighbour that is newer.
TEST(EventBtree, olderLeafHidesNothingButWhatItLacks)
{
    for (const unsigned int left : {0u, 50u}) {
        TreeFile file;
        for (int i = 0; i < 250; ++i) {
            file.addBlock({{i, 4096 + i % 9, "v"}});
        }
        file.tree().flush();
        const long long leaf = file.getNumber(file.getNumber(file.getHeader()));
        file.set(leaf + 27208, left | 1LL << 32);
        std::vector<long long> found;
        WdbEventBlock block(10240, 0);
        auto it = file.tree().getEventBlockIterator(-1);
        for (; it; ++it) {
            it.getEventBlock(block);
            found.push_back(block.getStartTime());
        }
        ASSERT_EQ(found.size(), 150 + left);
        EXPECT_EQ(found.front(), left == 0 ? 100 : 0);
        it.moveToLast();
        for (; !found.empty(); found.pop_back(), --it) {
            it.getEventBlock(block);
            ASSERT_EQ(block.getStartTime(), found.back());
        }
        EXPECT_TRUE(it.isEof());
        EXPECT_EQ(file.find(4096, 250), 243);
        EXPECT_EQ(file.find(4096, 98), left == 0 ? std::nullopt : std::optional(45LL));
        EXPECT_EQ(file.find(4096, 107), left == 0 ? std::nullopt : std::optional(45LL));
        EXPECT_EQ(file.find(4096, 108), 108);
    }
}

/// Searches against a list of the blocks, and the iterator in both directions.
void expectSearchesAreThoseOfAList(int blocks)
{
    SCOPED_TRACE(blocks);
    std::mt19937 random(Tracewell::seeded(static_cast<unsigned int>(blocks)));
    TreeFile file;
    file.tree().setStartTime(50);
    // Each block's start, and the two addresses that change in it.
    std::vector<std::tuple<long long, unsigned int, unsigned int>> list;
    long long time = 50;
    for (int i = 0; i < blocks; ++i) {
        list.emplace_back(time, below(random, 40), below(random, 2048));
        file.addBlock({{time, 4096 + std::get<1>(list.back()), "x"},
                       {time + 1, 4096 + std::get<2>(list.back()), "y"}});
        time += below(random, 5) == 0 ? 0 : below(random, 9);
        if (below(random, 50) == 0) {
            file.tree().flush();
        }
    }
    file.tree().flush();
    for (int query = 0; query < 400; ++query) {
        const unsigned int address = below(random, 45);
        const long long at = query % 2 == 0
                                 ? std::get<0>(list[random() % list.size()])
                                 : 50 + below(random, 5 * static_cast<unsigned int>(blocks));
        std::optional<long long> expected;
        for (const auto& [start, one, other] : list) {
            if (start <= at && (one == address || other == address)) {
                expected = start;
            }
        }
        ASSERT_EQ(file.find(4096 + address, at), expected) << address << " at " << at;
    }
    EXPECT_EQ(file.find(4096 + 2048, 60), std::nullopt);
    EXPECT_EQ(file.find(4095, 60), std::nullopt);

    WdbEventBlock block(10240, 0);
    auto it = file.tree().getEventBlockIterator(-1000);
    for (auto expected = list.begin(); expected != list.end(); ++expected, ++it) {
        it.getEventBlock(block);
        ASSERT_TRUE(it && block.getStartTime() == std::get<0>(*expected));
    }
    EXPECT_FALSE(it);
    it.moveToLast();
    for (auto expected = list.rbegin(); expected != list.rend(); ++expected, --it) {
        it.getEventBlock(block);
        ASSERT_TRUE(it && block.getStartTime() == std::get<0>(*expected));
    }
    EXPECT_FALSE(it);
}

TEST(EventBtree, searchesAreThoseOfAList)
{
    for (const int blocks : {1, 2, 100, 101, 350, 10001}) {
        expectSearchesAreThoseOfAList(blocks);
    }
}

TEST(BtreeDatabase, whatNoSearchWouldFindIsNotStored)
{
    TestContainer container;
    const auto withoutBuckets = container.createDatabase(1002, 0);
    EXPECT_THROW(add(*withoutBuckets, {5, 0, "x"}), std::out_of_range);
    EXPECT_EQ(openErrorOf([&] { container.createDatabase(1002, 100, 64); }),
              "A wave database with an index by time needs a bucket division of 2048 addresses.");
    // Addresses above 3,000 belong to the last bucket, which covers those from 6,144 on.
    WdbMultipleBucketBtreeDatabase database(1002, container.files());
    database.initialize(
        WdbIEventBlockDatabase::createEventSection(1002, 4, 3000, 2048, container.files()), true);
    for (const TestEvent& outside :
         {TestEvent{5, -1, "x"}, {5, 3001, "x"}, {5, 4090, "1234567"}, {5, 8191, "xy"}}) {
        EXPECT_THROW(add(database, outside), std::out_of_range) << outside;
    }
    EXPECT_TRUE(eventsOf(database).empty());
    WdbEventBlock block(10240, 0);
    for (const TestEvent& inside : {TestEvent{6, 2047, "AB"}, {7, 7000, "C"}}) {
        add(database, inside);
        database.sync();
        EXPECT_FALSE(database.findEventBlock(inside.address, 9, block)) << "as promised";
        EXPECT_EQ(block.getStartTime(), inside.time);
    }
    unsigned int bucket = 0;
    long long first = 7;
    EXPECT_FALSE(database.addressHash(-1, bucket, first, first));
    EXPECT_EQ(bucket, 3u);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(database.loadEventBtree(2), nullptr);
    EXPECT_THROW(database.loadEventBtree(4), std::out_of_range);
    EXPECT_TRUE(database.getIEventDataSource()->getEventIterator()->isEof());
}

TEST(BtreeDatabase, statesAreThoseOfTheLastChanges)
{
    std::mt19937 random(Tracewell::seeded(8));
    TestContainer container;
    std::vector<TestEvent> events;
    {
        const auto database = container.createDatabase(1002, 4096);
        for (long long time = -9; events.size() < 20000; time += below(random, 40) / 39) {
            events.push_back(
                {time, below(random, 30) == 0 ? below(random, 3000) : 2030 + below(random, 30),
                 randomBytes(random, 1 + below(random, 6))});
            add(*database, events.back());
        }
    }
    container.reopen();
    const auto reopened = container.openDatabase();
    auto& database = static_cast<WdbMultipleBucketBtreeDatabase&>(*reopened);
    for (int query = 0; query < 300; ++query) {
        const long long address = query % 2 == 0 ? 2040 + below(random, 20) : below(random, 3500);
        const long long time = -10ll + below(random, 550);
        std::vector<std::optional<std::pair<long long, char>>> expected(1 + below(random, 20));
        for (const TestEvent& event : events) {
            for (std::size_t i = 0; i < event.value.size() && event.time <= time; ++i) {
                const long long at = event.address + static_cast<long long>(i) - address;
                if (at >= 0 && at < static_cast<long long>(expected.size())) {
                    expected[static_cast<std::size_t>(at)] = {event.time, event.value[i]};
                }
            }
        }
        std::vector<WdbEventBtree::ByteState> states(expected.size());
        WdbEventBtree::SearchCost cost;
        database.findStates(address, time, states, cost);
        for (std::size_t i = 0; i < states.size(); ++i) {
            ASSERT_EQ(states[i].m_isKnown, expected[i].has_value())
                << address + static_cast<long long>(i);
            if (states[i].m_isKnown) {
                ASSERT_EQ(std::make_pair(states[i].m_time, static_cast<char>(states[i].m_value)),
                          *expected[i]);
            }
        }
    }
}

/// A file that is copied away after sync holds everything.
TEST(BtreeDatabase, syncedEventsSurvive)
{
    TestContainer container;
    const auto database = container.createDatabase(1002, 2048);
    for (int i = 0; i < 30000; ++i) {
        add(*database, {i, i % 7, "v"});
    }
    static_cast<WdbMultipleBucketBtreeDatabase&>(*database).sync();
    WdbFileManager files;
    files.open(container.path());
    const auto killed = openDatabase(files);
    EXPECT_EQ(killed->getLatestTime(), 29999);
    EXPECT_EQ(eventsOf(*killed).size(), 30000u);
}

} // namespace
} // namespace Tracewell
