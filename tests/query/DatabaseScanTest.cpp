#include "../support/TestFiles.h"
#include "TreeHistory.h"

#include "IGuiStatus.h"
#include "ScanTargets.h"
#include "ThreadPool.h"
#include "WdbAddressBTreeManager.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"
#include "WdbMemoryBlockManager.h"

#include <atomic>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

struct Event
{
    long long time;
    long long address;
    std::string value;
};

/// What a tree holds after the events: one value a time, and no repeats.
History getExpectedHistory(const std::vector<Event>& events, const WdbScalarBTree& tree)
{
    std::map<long long, int> lastAtTime;
    for (const Event& event : events) {
        const long long place = tree.getAddress() - event.address;
        if (place < 0 || place >= static_cast<long long>(event.value.size()))
            continue;
        const int byte = static_cast<unsigned char>(event.value[static_cast<std::size_t>(place)]);
        lastAtTime[event.time] = tree.isBitBTree() ? (byte & tree.getBitMask()) != 0 : byte;
    }
    History history;
    for (const auto& entry : lastAtTime) {
        if (history.empty() || history.back().second != entry.second)
            history.emplace_back(entry);
    }
    return history;
}

struct ScanCase
{
    int typeId;
    unsigned int division;
    long long addressSize;
    /// Distance between the addresses that events and trees keep to.
    long long spread;
};

class ScanOfRandomEvents : public ::testing::TestWithParam<ScanCase>
{
protected:
    void fill(std::mt19937& random, WdbIEventBlockDatabase& database, int count)
    {
        long long time = 0;
        for (int i = 0; i < count; ++i) {
            time += random() % 3;
            Event event{time, pickAddress(random), {}};
            const auto length = random() % 50 == 0 ? 200 : 1 + random() % 12;
            for (auto byte = length; byte > 0; --byte)
                event.value += static_cast<char>(random() % 4);
            database.writeEvent(event.time, event.address,
                                static_cast<unsigned int>(event.value.size()),
                                reinterpret_cast<const unsigned char*>(event.value.data()));
            m_events.push_back(std::move(event));
        }
    }

    Trees makeTrees(std::mt19937& random, WdbAddressBTreeManager& manager)
    {
        Trees trees;
        Trees toScan;
        std::vector<WdbAddressBitPair> bits;
        for (int i = 0; i < 60; ++i) {
            manager.getOrCreateByteBTrees(pickAddress(random), 1, trees, toScan);
            bits.emplace_back(pickAddress(random), random() % 8);
        }
        manager.getOrCreateBitBTrees(bits, trees, toScan);
        return toScan;
    }

    long long pickAddress(std::mt19937& random) const
    {
        return static_cast<long long>(random() % 40) * GetParam().spread + random() % 6;
    }

    std::vector<Event> m_events;
};

TEST_P(ScanOfRandomEvents, bothScansGiveEachTreeItsEvents)
{
    const TestDirectory directory;
    const ScanCase& param = GetParam();
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        m_events.clear();
        const std::string path = directory.path(std::to_string(seed));
        WdbFileManager file;
        file.create(path + ".wdb");
        const std::unique_ptr<WdbIEventBlockDatabase> database(
            WdbEventBlockDatabaseFactory::getInstance().create(param.typeId, file));
        const auto addressSize = static_cast<unsigned long long>(param.addressSize);
        database->initialize(
            WdbIEventBlockDatabase::createEventSection(
                param.typeId,
                WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, param.division),
                addressSize, param.division, file),
            true);
        fill(random, *database, 4000);

        for (const bool onPool : {false, true}) {
            WdbAddressBTreeManager manager(database.get());
            manager.createDrawingBTreeFile(path + (onPool ? ".pool" : ".one"));
            const Trees trees = makeTrees(random, manager);
            if (onPool)
                manager.scanWdbDatabaseMultiThread(trees, nullptr);
            else
                manager.scanWdbDatabase(trees, nullptr);
            for (const WdbScalarBTree* const tree : trees)
                ASSERT_EQ(getHistory(*tree), getExpectedHistory(m_events, *tree))
                    << onPool << ' ' << tree->getAddress() << ' ' << tree->getBitPosition();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, ScanOfRandomEvents,
                         ::testing::Values(ScanCase{1000, 2048, 1000, 10},
                                           ScanCase{1000, 2048, 1000, 100000000},
                                           ScanCase{1001, 64, 400, 10}, ScanCase{1001, 7, 400, 10},
                                           ScanCase{1001, 100000, 4000000, 100000}));

TEST(ScanTargets, damagedRecordsNeitherLeadAstrayNorTurnTimeBack)
{
    WdbMemoryBlockManager manager;
    WdbScalarBTree low(100, manager);
    WdbScalarBTree high(104, manager);
    ScanTargets targets({&high, &low});
    const unsigned char value[] = {1, 2, 3, 4, 5, 6, 7, 8};
    WdbEventBlock block(1024, 100);
    block.addEvent(10, 100, 5, value);
    block.addEvent(20, 100, 5, value + 1);
    block.addEvent(15, 104, 1, value + 6);
    block.addEvent(30, 104, 1, value + 7);
    targets.addBlock(block);
    EXPECT_EQ(getHistory(low), (History{{10, 1}, {20, 2}}));
    EXPECT_EQ(getHistory(high), (History{{10, 5}, {20, 7}, {30, 8}}));

    const auto sendDamaged = [&](long long base, unsigned int delta, unsigned int length) {
        WdbEventBlock damaged(1024, base);
        damaged.addEvent(40, base, 8, value);
        std::memcpy(damaged.getMemory() + WdbEventBlock::kHeaderSize + 8, &delta, sizeof delta);
        std::memcpy(damaged.getMemory() + WdbEventBlock::kHeaderSize + 12, &length, sizeof length);
        targets.addBlock(damaged);
    };
    constexpr long long kHighest = std::numeric_limits<long long>::max();
    sendDamaged(100, 0, 0xFFFFFFFFu);
    sendDamaged(100, 0, 1000);
    sendDamaged(100, 0xFFFFFFFFu, 8);
    sendDamaged(kHighest, 0, 8);
    sendDamaged(kHighest, 200, 8);
    EXPECT_EQ(getHistory(low).size(), 2u);
    EXPECT_EQ(getHistory(high).size(), 3u);
}

/// A database of buckets of 100 addresses, each with `blocks` blocks of one event for its first
/// address.
class FakeDatabase : public WdbIEventBlockDatabase
{
public:
    class Iterator : public WdbIEventBlockIterator
    {
    public:
        Iterator(const FakeDatabase& database, long long base) : m_database(database), m_base(base)
        {
            ++m_database.m_alive;
        }
        ~Iterator() override { --m_database.m_alive; }
        bool isEof() const override { return m_block == m_database.m_blocks; }
        explicit operator bool() const override { return !isEof(); }
        WdbIEventBlockIterator& operator++() override
        {
            ++m_block;
            ++m_database.m_blocksRead;
            return *this;
        }
        void getEventBlock(WdbEventBlock& block) override
        {
            if (m_base == m_database.m_brokenBucket)
                throw std::runtime_error("broken");
            const auto value = static_cast<unsigned char>(m_block % 2);
            block.clear();
            block.setBaseAddress(m_base);
            block.addEvent(m_block, m_base, 1, &value);
            std::memcpy(block.getMemory(), &m_block, sizeof m_block);
        }

    private:
        const FakeDatabase& m_database;
        long long m_base;
        long long m_block = 0;
    };

    FakeDatabase(long long blocks, long long latestTime)
        : m_blocks(blocks), m_latestTime(latestTime)
    {
        m_header.m_maxEventBlockSize = 100;
    }

    void getEventBlockDatabaseIterator(const Trees& trees, IteratorVector& iterators,
                                       std::vector<Trees>& treeLists) const override
    {
        std::map<long long, Trees> groups;
        for (WdbScalarBTree* const tree : trees)
            groups[tree->getAddress() / 100 * 100].push_back(tree);
        for (const auto& group : groups) {
            iterators.push_back(std::make_shared<Iterator>(*this, group.first));
            treeLists.push_back(group.second);
        }
    }
    long long getLatestTime() const override { return m_latestTime; }
    const WdbEventDatabaseHeader& getEventDatabaseHeader() const override { return m_header; }

    void initialize(long long, bool) override {}
    void writeEvent(long long, long long, unsigned int, const unsigned char*) override {}
    void flush() override {}
    void setLatestTime(long long) override {}
    void setFilterRepeatedValue(bool) override {}
    IteratorVector getAllEventBlockDatabaseIterator() const override { return {}; }
    IteratorVector getEventBlockDatabaseIterator(const std::vector<long long>&) const override
    {
        return {};
    }
    void setAddressMapFileOffsetAndSize(long long, long long) override {}
    WdbIEventSource* getIEventDataSource() override { return nullptr; }

    long long m_blocks;
    long long m_latestTime;
    long long m_brokenBucket = -1;
    WdbEventDatabaseHeader m_header;
    mutable std::atomic<int> m_alive{0};
    mutable std::atomic<long long> m_blocksRead{0};
};

class RecordingStatus : public QSIM::IGuiStatus
{
public:
    void setProgress(double percent) override
    {
        m_calls.push_back(percent);
        if (m_calls.size() == m_throwAt)
            throw std::runtime_error("viewer gone");
    }
    double getProgress() override { return m_calls.empty() ? 0.0 : m_calls.back(); }

    std::vector<double> m_calls;
    std::size_t m_throwAt = 0;
};

class ScanProgress : public ::testing::Test
{
protected:
    void scan(bool onPool)
    {
        m_manager.createDrawingBTreeFile(m_directory.path("trees"));
        m_manager.getOrCreateByteBTrees(0, 1, m_trees, m_toScan);
        m_manager.getOrCreateByteBTrees(100, 3, m_trees, m_toScan);
        if (onPool)
            m_manager.scanWdbDatabaseMultiThread(m_toScan, &m_status);
        else
            m_manager.scanWdbDatabase(m_toScan, &m_status);
    }

    TestDirectory m_directory;
    FakeDatabase m_database{4000, 4000};
    WdbAddressBTreeManager m_manager{&m_database};
    RecordingStatus m_status;
    Trees m_trees;
    Trees m_toScan;
};

TEST_F(ScanProgress, movesEveryThousandBlocksAndEndsAtAll)
{
    scan(false);
    const std::vector<double> expected = {999 / 160.0,
                                          1999 / 160.0,
                                          2999 / 160.0,
                                          3999 / 160.0,
                                          25,
                                          25 + 999 / 53.3333333333,
                                          25 + 1999 / 53.3333333333,
                                          25 + 2999 / 53.3333333333,
                                          25 + 3999 / 53.3333333333,
                                          100};
    ASSERT_EQ(m_status.m_calls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(m_status.m_calls[i], expected[i], 1e-6) << i;
}

TEST_F(ScanProgress, withoutALatestTimeOnlyTheEndOfABucketCounts)
{
    m_database.m_latestTime = 0;
    scan(false);
    EXPECT_EQ(m_status.m_calls, (std::vector<double>{25, 100}));
}

TEST_F(ScanProgress, poolReportsWholeBuckets)
{
    scan(true);
    EXPECT_EQ(m_status.m_calls, (std::vector<double>{25, 100}));
    EXPECT_EQ(getHistory(*m_trees[0]).size(), 4000u);
    EXPECT_EQ(getHistory(*m_trees[1]).size(), 4000u);
}

TEST_F(ScanProgress, anExceptionComesOutWhenAllThreadsAreDone)
{
    m_database.m_brokenBucket = 0;
    EXPECT_THROW(scan(true), std::runtime_error);
    EXPECT_EQ(m_database.m_blocksRead, 4000);
    EXPECT_EQ(m_database.m_alive, 0);
    EXPECT_TRUE(m_status.m_calls.empty());
    EXPECT_THROW(m_manager.scanWdbDatabase(m_toScan, nullptr), std::runtime_error);

    m_database.m_brokenBucket = -1;
    m_status.m_throwAt = 1;
    EXPECT_THROW(m_manager.scanWdbDatabaseMultiThread(m_toScan, &m_status), std::runtime_error);
    EXPECT_EQ(m_database.m_alive, 0);
}

TEST_F(ScanProgress, nothingIsSaidWithoutTreesOrDatabase)
{
    m_manager.scanWdbDatabase({}, &m_status);
    m_manager.setEventDatabase(nullptr);
    scan(true);
    m_manager.scanWdbDatabase(m_toScan, &m_status);
    EXPECT_TRUE(m_status.m_calls.empty());
}

TEST(ThreadPool, hasAThreadAndTakesNothingAfterStop)
{
    ThreadPool pool(0);
    std::atomic<int> done{0};
    std::vector<std::future<int>> futures;
    for (int i = 0; i < 100; ++i)
        futures.push_back(pool.submit([&done] { return ++done; }));
    EXPECT_EQ(futures.front().get(), 1);
    pool.stop();
    EXPECT_EQ(done, 100);
    try {
        pool.submit([] {});
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "submit on stopped ThreadPool");
    }
}

} // namespace
} // namespace Tracewell
