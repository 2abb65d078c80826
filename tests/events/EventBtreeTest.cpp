#include "EventTestData.h"

#include "WdbMultipleBucketBtreeDatabase.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace Tracewell {
namespace {

constexpr std::size_t kNodeSize = 27216;
constexpr std::size_t kHeaderSize = 272;

/// A tree in a container, and the managers that it needs.
class TreeFile
{
public:
    explicit TreeFile(bool keepsNodes = false)
        : m_nodes(m_container.files().getiostream(), keepsNodes ? 1000 : 3),
          m_data(m_container.files().getiostream(), 100)
    {
        const long long nothing = 0;
        m_entry = m_container.blocks().addBlock(reinterpret_cast<const char*>(&nothing), 8);
        m_tree.emplace(m_nodes, m_data, m_entry, 10240, kBase);
    }

    /// One block with an event at each of the times.
    void addBlock(std::initializer_list<TestEvent> events)
    {
        for (const TestEvent& event : events)
            add(m_tree->getEventBlock(), event);
        m_tree->saveEventBlock();
    }
    std::string at(long long place, std::size_t size)
    {
        m_nodes.sync();
        return m_container.content().substr(static_cast<std::size_t>(place), size);
    }
    long long getNumber(long long place)
    {
        long long number = 0;
        m_container.blocks().getBlock(place, reinterpret_cast<char*>(&number), 8);
        return number;
    }
    long long getHeader() { return getNumber(m_entry); }
    WdbEventBtree& tree() { return *m_tree; }

    /// The start of the block that a search finds.
    std::optional<long long> find(long long address, long long time)
    {
        WdbEventBlock block(10240, 0);
        if (!m_tree->findEventBlock(address, time, block))
            return std::nullopt;
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
    for (const int offset : offsets)
        bytes[static_cast<std::size_t>(offset / 8)] =
            static_cast<char>(bytes[static_cast<std::size_t>(offset / 8)] | 1 << offset % 8);
    return bytes;
}

TEST(EventBtree, bytesOfHeaderRecordAndNode)
{
    TreeFile file;
    file.tree().setStartTime(1000);
    file.addBlock({{1000, 4096 + 3, "a"}, {1040, 4096 + 3, "b"}});
    file.addBlock({{1100, 4096 + 9, "cd"}});
    file.tree().flush();

    const long long header = file.getHeader();
    const long long root = file.getNumber(header);
    EXPECT_EQ(file.at(header, kHeaderSize), words(root, 1000) + std::string(256, '\0'));
    // Root, first block, second block, first record, second record.
    const long long firstBlock = root + static_cast<long long>(kNodeSize);
    const long long records[] = {file.getNumber(root), file.getNumber(root + 8)};
    const long long secondBlock = file.getNumber(records[1]);
    EXPECT_EQ(file.at(records[0], 24),
              words(firstBlock) + halfWords(secondBlock - firstBlock, 0) + words(40))
        << "40 is the gap between the two events";
    EXPECT_EQ(file.at(records[1], 24),
              words(secondBlock) + halfWords(records[0] - secondBlock, 0) + words(0));
    EXPECT_EQ(file.at(root, kNodeSize), padded(words(records[0], records[1]), 800) +
                                            padded(words(100, 100), 800) + words(40) +
                                            padded(key({3}) + key({9, 10}), 25600) + halfWords(2) +
                                            std::string("\1\0\0\0", 4));
}

TEST(EventBtree, fullNodeGetsANeighbourAndARoot)
{
    TreeFile file(true);
    for (int i = 0; i < 101; ++i)
        file.addBlock({{i * 10, 4096 + i, "v"}});
    const long long leaf = file.getNumber(file.getHeader());
    file.tree().flush();
    const long long root = file.getNumber(file.getHeader());
    EXPECT_NE(root, leaf);
    EXPECT_EQ(file.at(root, 16), words(leaf, root - static_cast<long long>(kNodeSize)));
    EXPECT_EQ(file.at(root + 800, 16), words(1000, 1000));
    EXPECT_EQ(file.at(root + 27208, 8), halfWords(2, 0));
    EXPECT_EQ(file.at(leaf + 27208, 8), halfWords(100, 1));
}

/// Searches against a list of the blocks, and the iterator in both directions.
void expectSearchesAreThoseOfAList(int blocks, unsigned int seed)
{
    SCOPED_TRACE(::testing::Message() << blocks << " blocks, seed " << seed);
    std::mt19937 random(seed);
    TreeFile file;
    file.tree().setStartTime(50);
    struct Block
    {
        long long start;
        unsigned int address;
        unsigned int other;
    };
    std::vector<Block> list;
    long long time = 50;
    for (int i = 0; i < blocks; ++i) {
        const Block block = {time, below(random, 40), below(random, 2048)};
        list.push_back(block);
        file.addBlock({{time, 4096 + block.address, "x"}, {time + 1, 4096 + block.other, "y"}});
        time += below(random, 5) == 0 ? 0 : below(random, 9);
        if (below(random, 50) == 0)
            file.tree().flush();
    }
    file.tree().flush();
    const auto holds = [](const Block& block, unsigned int address) {
        return block.address == address || block.other == address;
    };
    for (int query = 0; query < 400; ++query) {
        const unsigned int address = below(random, 45);
        const long long at =
            query % 2 == 0 ? list[random() % list.size()].start : 49 + below(random, 9000);
        std::optional<long long> expected;
        for (const Block& block : list) {
            if (block.start <= at && holds(block, address))
                expected = block.start;
        }
        if (at >= 50) {
            ASSERT_EQ(file.find(4096 + address, at), expected) << address << " at " << at;
        }
    }
    EXPECT_EQ(file.find(4096 + 2048, 60), std::nullopt);
    EXPECT_EQ(file.find(4095, 60), std::nullopt);

    WdbEventBlock block(10240, 0);
    auto it = file.tree().getEventBlockIterator(-1000);
    for (const Block& expected : list) {
        ASSERT_TRUE(it);
        it.getEventBlock(block);
        ASSERT_EQ(block.getStartTime(), expected.start);
        ++it;
    }
    EXPECT_FALSE(it);
    it.moveToLast();
    for (auto expected = list.rbegin(); expected != list.rend(); ++expected, --it) {
        ASSERT_TRUE(it);
        it.getEventBlock(block);
        ASSERT_EQ(block.getStartTime(), expected->start);
    }
    EXPECT_FALSE(it);
}

TEST(EventBtree, searchesAreThoseOfAList)
{
    for (const int blocks : {1, 2, 100, 101, 350})
        expectSearchesAreThoseOfAList(blocks, static_cast<unsigned int>(blocks));
    expectSearchesAreThoseOfAList(10001, 5);
}

TEST(BtreeDatabase, keepsAllEventsAndFindsThemAgain)
{
    std::mt19937 random(4);
    TestContainer container;
    std::vector<TestEvent> sent;
    std::vector<TestEvent> arrived;
    {
        const auto database = container.createDatabase(1002, 6000);
        long long time = -20;
        for (int i = 0; i < 20000; ++i) {
            // Random bytes do not compress, so some blocks are stored in halves.
            const TestEvent event = {time, below(random, 2000) + 2048 * below(random, 2),
                                     randomBytes(random, 1 + below(random, i < 9000 ? 8 : 40))};
            add(*database, event);
            sent.push_back(event);
            time += below(random, 3) == 0 ? 0 : 1 + below(random, 5);
        }
        EXPECT_THROW(add(*database, {time, -1, "x"}), std::out_of_range);
        EXPECT_THROW(add(*database, {time, 6143, "xy"}), std::out_of_range);
        add(*database, {time, 2047, "AB"});
        database->flush();
    }
    sent.push_back({sent.back().time, 0, ""});
    container.reopen();
    const auto database = container.openDatabase();
    auto iterators = database->getAllEventBlockDatabaseIterator();
    ASSERT_EQ(iterators.size(), 2u);
    arrived = eventsOf(*database);
    // Bucket by bucket; repeats at one time and place may go.
    const auto bytesAt = [](const std::vector<TestEvent>& events) {
        std::map<std::pair<long long, long long>, char> bytes;
        for (const TestEvent& event : events) {
            for (std::size_t i = 0; i < event.value.size(); ++i)
                bytes[{event.time, event.address + static_cast<long long>(i)}] = event.value[i];
        }
        return bytes;
    };
    sent.back() = {database->getLatestTime(), 2047, "AB"};
    EXPECT_EQ(bytesAt(arrived), bytesAt(sent));

    WdbEventBlock block(10240, 0);
    auto& indexed = static_cast<WdbMultipleBucketBtreeDatabase&>(*database);
    EXPECT_FALSE(indexed.findEventBlock(sent[9000].address, sent[9000].time, block));
    const auto found = eventsOf(block);
    EXPECT_NE(std::find_if(found.begin(), found.end(),
                           [&](const TestEvent& event) {
                               return event.time <= sent[9000].time &&
                                      event.address <= sent[9000].address &&
                                      sent[9000].address < event.address + static_cast<long long>(
                                                                               event.value.size());
                           }),
              found.end());
    ASSERT_NE(database->getIEventDataSource(), nullptr);
    EXPECT_TRUE(database->getIEventDataSource()->getEventIterator()->isEof());
}

TEST(BtreeDatabase, otherDivisionsAndOutsidersAreRefused)
{
    TestContainer container;
    EXPECT_EQ(openErrorOf([&] { container.createDatabase(1002, 100, 64); }),
              "A wave database with an index by time needs a bucket division of 2048 addresses.");
    WdbMultipleBucketBtreeDatabase database(1002, container.files());
    database.initialize(
        WdbIEventBlockDatabase::createEventSection(1002, 3, 6144, 2048, container.files()), true);
    unsigned int bucket = 0;
    long long first = 7;
    long long last = 7;
    EXPECT_FALSE(database.addressHash(-1, bucket, first, last));
    EXPECT_EQ(bucket, 2u);
    EXPECT_EQ(first, 7);
    EXPECT_THROW(database.loadEventBtree(3), std::out_of_range);
    EXPECT_EQ(database.loadEventBtree(1), nullptr);
}

/// A file that is copied away after sync holds everything; one without sync ends earlier.
TEST(BtreeDatabase, syncedEventsSurviveAndReadersWriteNothing)
{
    TestContainer container;
    const auto database = container.createDatabase(1002, 2048);
    for (int i = 0; i < 30000; ++i)
        add(*database, {i, i % 7, "v"});
    static_cast<WdbMultipleBucketBtreeDatabase&>(*database).sync();
    const TestDirectory directory;
    const std::string survivor = container.content();
    writeFile(directory.path("killed.wdb"), survivor);
    WdbFileManager files;
    files.open(directory.path("killed.wdb"));
    {
        const auto killed = openDatabase(files);
        EXPECT_EQ(killed->getLatestTime(), 29999);
        EXPECT_EQ(eventsOf(*killed).size(), 30000u);
    }
    EXPECT_EQ(readFile(directory.path("killed.wdb")), survivor);
}

TEST(BtreeDatabase, damagedFilesEndSearchesAndWalks)
{
    TestContainer container;
    {
        const auto database = container.createDatabase(1002, 4096);
        for (int i = 0; i < 200000; ++i)
            add(*database, {i, i * 7 % 4000, "value"});
    }
    const std::string sound = container.content();
    const TestDirectory directory;
    std::mt19937_64 random(99);
    for (int round = 0; round < 50; ++round) {
        writeFile(directory.path("bad.wdb"), damaged(sound, random));
        WdbFileManager files;
        openErrorOf([&] {
            files.open(directory.path("bad.wdb"));
            const auto database = openDatabase(files);
            EXPECT_LE(eventsOf(*database).size(), 1000000u);
            WdbEventBlock block(database->getEventDatabaseHeader().m_maxEventBlockSize, 0);
            if (auto* const indexed =
                    dynamic_cast<WdbMultipleBucketBtreeDatabase*>(database.get())) {
                for (int query = 0; query < 20; ++query)
                    indexed->findEventBlock(static_cast<long long>(random() % 5000),
                                            static_cast<long long>(random() % 300000), block);
            }
        });
    }
}

} // namespace
} // namespace Tracewell
