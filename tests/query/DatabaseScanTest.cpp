// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "IGuiStatus.h"
#include "ScanTargets.h"
#include "ThreadPool.h"
#include "WdbMemoryBlockManager.h"

#include <atomic>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

/// What a tree holds after the events: one value a time, and no repeats.
History getExpectedHistory(const std::vector<TestEvent>& events, const WdbScalarBTree& tree)
{
    std::map<long long, int> lastAtTime;
    for (const TestEvent& event : events) {
        const long long place = tree.getAddress() - event.address;
        if (place < 0 || place >= static_cast<long long>(event.value.size())) {
            continue;
        }
        const int byte = static_cast<unsigned char>(event.value[static_cast<std::size_t>(place)]);
        lastAtTime[event.time] = tree.isBitBTree() ? (byte & tree.getBitMask()) != 0 : byte;
    }
    History history;
    for (const auto& entry : lastAtTime) {
        if (history.empty() || history.back().second != entry.second) {
            history.emplace_back(entry);
        }
    }
    return history;
}

struct ScanCase
{
    int typeId;
    unsigned int division;
    unsigned long long addressSize;
    /// Distance between the places that events and trees keep to.
    long long spread;

    friend std::ostream& operator<<(std::ostream& os, const ScanCase& each)
    {
        return os << each.typeId << " with " << each.addressSize << " addresses, " << each.division
                  << " a bucket, spread by " << each.spread;
    }
};

class ScanOfRandomEvents : public ::testing::TestWithParam<ScanCase>
{
protected:
    long long pickAddress() { return pick(m_random, 40) * GetParam().spread + pick(m_random, 6); }

    void fill(WdbIEventBlockDatabase& database)
    {
        long long time = 0;
        m_events.clear();
        for (int i = 0; i < 4000; ++i) {
            time += pick(m_random, 3);
            m_events.push_back({time, pickAddress(), {}});
            std::string& value = m_events.back().value;
            for (int left = pick(m_random, 50) == 0 ? 200 : 1 + pick(m_random, 12); left > 0;
                 --left) {
                value += static_cast<char>(pick(m_random, 4));
            }
            add(database, m_events.back());
        }
    }

    Trees makeTrees(WdbAddressBTreeManager& manager)
    {
        Trees trees;
        Trees toScan;
        for (int i = 0; i < 60; ++i) {
            manager.getOrCreateByteBTrees(pickAddress(), 1, trees, toScan);
            const auto bit = static_cast<unsigned int>(pick(m_random, 8));
            manager.getOrCreateBitBTrees({{pickAddress(), bit}}, trees, toScan);
        }
        return toScan;
    }

    std::mt19937 m_random;
    std::vector<TestEvent> m_events;
};

TEST_P(ScanOfRandomEvents, bothScansGiveEachTreeItsEvents)
{
    const TestDirectory directory;
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        m_random.seed(Tracewell::seeded(seed));
        TestContainer container;
        const auto database = container.createDatabase(GetParam().typeId, GetParam().addressSize,
                                                       GetParam().division);
        fill(*database);
        for (const bool onPool : {false, true}) {
            WdbAddressBTreeManager manager(database.get());
            manager.createDrawingBTreeFile(directory.path("trees"));
            const Trees trees = makeTrees(manager);
            if (onPool) {
                manager.scanWdbDatabaseMultiThread(trees, nullptr);
            } else {
                manager.scanWdbDatabase(trees, nullptr);
            }
            for (const WdbScalarBTree* const tree : trees) {
                ASSERT_EQ(getHistory(*tree), getExpectedHistory(m_events, *tree))
                    << onPool << ' ' << tree->getAddress() << ' ' << tree->getBitPosition();
            }
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
    const History lowHistory = {{10, 1}, {20, 2}};
    const History highHistory = {{10, 5}, {20, 7}, {30, 8}};
    EXPECT_EQ(getHistory(low), lowHistory);
    EXPECT_EQ(getHistory(high), highHistory);

    constexpr long long kHighest = std::numeric_limits<long long>::max();
    const auto sendDamaged = [&](long long base, unsigned int delta, unsigned int length) {
        WdbEventBlock damaged(1024, base);
        damaged.addEvent(40, base, 8, value);
        char* const record = damaged.getMemory() + WdbEventBlock::kHeaderSize;
        std::memcpy(record + 8, &delta, sizeof delta);
        std::memcpy(record + 12, &length, sizeof length);
        targets.addBlock(damaged);
    };
    sendDamaged(100, 0, 0xFFFFFFFFu);
    sendDamaged(100, 0, 1000);
    sendDamaged(100, 0xFFFFFFFFu, 8);
    sendDamaged(kHighest, 0, 8);
    sendDamaged(kHighest, 200, 8);
    EXPECT_EQ(getHistory(low), lowHistory);
    EXPECT_EQ(getHistory(high), highHistory);
}

class RecordingStatus : public QSIM::IGuiStatus
{
public:
    void setProgress(double percent) override { m_calls.push_back(percent); }
    double getProgress() override { return m_calls.empty() ? 0.0 : m_calls.back(); }

    std::vector<double> m_calls;
};

TEST(ScanProgress, movesEveryThousandBlocksAndWithWholeBuckets)
{
    const TestDirectory directory;
    TestContainer container;
    // Blocks so small that one event fills them.
    WdbMultipleBucketEventDatabase database(1001, container.files());
    container.createDatabase(1001, 200, 100);
    const long long section = WdbIEventBlockDatabase::getEventSection(container.files());
    container.blocks().putBlock(section + 64, halfWords(64).data(), 4);
    database.initialize(section, true);
    for (long long time = 0; time < 4000; ++time) {
        add(database, {time, 0, words(time % 2)});
        add(database, {time, 100, words(time % 2)});
    }

    WdbAddressBTreeManager manager(&database);
    manager.createDrawingBTreeFile(directory.path("trees"));
    Trees trees;
    Trees toScan;
    manager.getOrCreateByteBTrees(0, 1, trees, toScan);
    manager.getOrCreateByteBTrees(100, 3, trees, toScan);
    RecordingStatus status;
    manager.scanWdbDatabase({}, &status);
    EXPECT_TRUE(status.m_calls.empty());

    manager.scanWdbDatabaseMultiThread(trees, &status);
    EXPECT_EQ(status.m_calls, (std::vector<double>{25, 100}));
    EXPECT_EQ(getHistory(*trees[1]).size(), 4000u);

    status.m_calls.clear();
    manager.scanWdbDatabase(trees, &status);
    ASSERT_EQ(status.m_calls.size(), 10u);
    const double times[] = {999, 1999, 2999, 3999, 3999};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(status.m_calls[i], times[i] / 3999 * 25, 1e-9);
        EXPECT_NEAR(status.m_calls[5 + i], 25 + times[i] / 3999 * 75, 1e-9);
    }

    status.m_calls.clear();
    database.setLatestTime(0);
    manager.scanWdbDatabase(trees, &status);
    EXPECT_EQ(status.m_calls, (std::vector<double>{25, 100})) << "no time to measure by";
    manager.setEventDatabase(nullptr);
    manager.scanWdbDatabase(trees, &status);
    EXPECT_EQ(status.m_calls.size(), 2u);
}

/// Its walks, of empty blocks, end at 4, 40, 4, 40 ... blocks.
class UnevenDatabase : public WdbIEventBlockDatabase
{
public:
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
    long long getLatestTime() const override { return 0; }
    const WdbEventDatabaseHeader& getEventDatabaseHeader() const override { return m_header; }
    void setAddressMapFileOffsetAndSize(long long, long long) override {}
    WdbIEventSource* getIEventDataSource() override { return nullptr; }
    void getEventBlockDatabaseIterator(const Trees& trees, IteratorVector& iterators,
                                       std::vector<Trees>& treeLists) const override
    {
        iterators.push_back(std::make_shared<Walk>(m_walks++ % 2 == 0 ? 4 : 40));
        treeLists.push_back(trees);
    }

private:
    struct Walk : WdbIEventBlockIterator
    {
        explicit Walk(int blocks) : m_left(blocks) {}
        bool isEof() const override { return m_left == 0; }
        operator bool() const override { return m_left > 0; }
        WdbIEventBlockIterator& operator++() override
        {
            --m_left;
            return *this;
        }
        void getEventBlock(WdbEventBlock& block) override { block.clear(); }

        int m_left;
    };

    WdbEventDatabaseHeader m_header;
    mutable int m_walks = 0;
};

TEST(ScanOnPool, endsAlsoWhereDamageEndsOneWalkBeforeAnother)
{
    UnevenDatabase database;
    WdbAddressBTreeManager manager(&database);
    manager.createByteBTree(0);
    RecordingStatus status;
    manager.scanWdbDatabaseMultiThread({manager.getByteBTree(0)}, &status);
    EXPECT_EQ(status.m_calls, std::vector<double>{100});
}

TEST(ThreadPool, runsEverythingBeforeItStopsAlsoBehindAnException)
{
    std::atomic<int> done{0};
    ThreadPool pool(0);
    std::future<void> broken = pool.submit([] { throw std::logic_error("broken"); });
    for (int i = 0; i < 100; ++i) {
        pool.submit([&done] { ++done; });
    }
    EXPECT_THROW(broken.get(), std::logic_error);
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
