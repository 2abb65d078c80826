// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"

#include "WdbMemoryBlockManager.h"
#include "WdbScalarBTree.h"

#include <tuple>

namespace Tracewell {
namespace {

constexpr long long kNodeSize = 1216;

TEST(EventDatabase, fileHoldsTableHeaderNodeAndBlockAsLaidOutByHand)
{
    TestContainer container;
    auto database = container.createDatabase(1001, 5000);
    add(*database, {7, 2050, "\x11\x22"});
    add(*database, {9, 2048, "\x33"});
    database->setAddressMapFileOffsetAndSize(0x1234, 5);
    const long long header = WdbIEventBlockDatabase::getEventSection(container.files());
    const auto at = [&](long long offset, std::size_t size) {
        return container.content().substr(static_cast<std::size_t>(offset), size);
    };
    const long long node = header + 72 + 48; // behind the item of the table of contents
    EXPECT_EQ(at(header - 24, 24), words(0, node, 0));
    EXPECT_EQ(at(header, 72), words(0) + halfWords(1001, 3) +
                                  words(2048, 5000, 64 + 136, 0, 5, 0x1234) +
                                  halfWords(10240, 100));
    WdbTableOfContentItem item;
    container.files().getSection("WDB.Event", 1, item);
    EXPECT_TRUE(item.m_fileOffset == 64 + 136 + 24 && item.m_size == 72);
    EXPECT_EQ(at(node, kNodeSize), std::string(kNodeSize, '\0'));

    database.reset();
    const long long block = node + kNodeSize;
    const std::string stored = at(block, std::string::npos);
    EXPECT_EQ(inflated(stored),
              padded(words(7, 2) + halfWords(2) + record(7, 2, "\x11\x22") + record(9, 0, "\x33"),
                     10240));
    EXPECT_EQ(at(node, kNodeSize), padded(words(0, block), 808) +
                                       padded(halfWords(stored.size()), 400) + halfWords(1, 0));
    EXPECT_EQ(at(header, 8), littleEndian(9, 8));
}

TEST(EventDatabase, addressHashIsAPlainDivision)
{
    TestContainer container;
    const auto base = container.createDatabase(1001, 5000);
    const auto& database = dynamic_cast<const WdbMultipleBucketEventDatabase&>(*base);
    unsigned int bucket = 99;
    long long first = -1;
    long long last = -1;
    const auto place = [&] { return std::make_tuple(bucket, first, last); };
    EXPECT_TRUE(database.addressHash(4095, bucket, first, last));
    EXPECT_EQ(place(), std::make_tuple(1u, 2048, 4095));
    EXPECT_FALSE(database.addressHash(5001, bucket, first, last));
    EXPECT_EQ(place(), std::make_tuple(2u, 2048, 4095)) << "only the bucket is told";
    EXPECT_TRUE(database.addressHash(5000, bucket, first, last)) << "equal to the size";
    EXPECT_EQ(place(), std::make_tuple(2u, 4096, 6143));
}

TEST(EventDatabase, iteratorsComeOnceABucketAndCreateNothing)
{
    TestContainer container;
    auto database = container.createDatabase(1001, 10000);
    add(*database, {1, 10, "a"});
    add(*database, {2, 2047, "bc"});
    add(*database, {3, 9999, "d"});
    EXPECT_EQ(database->getEventBlockDatabaseIterator({0, 5, 2000}).size(), 1u);
    const std::string before = container.content();
    EXPECT_TRUE(database->getEventBlockDatabaseIterator({6000, -1}).empty());
    EXPECT_EQ(container.content(), before);

    WdbMemoryBlockManager blocks;
    WdbScalarBTree inFirst(9, blocks), missing(6000, blocks), inSecond(2049, blocks),
        alsoInFirst(2, blocks), behindTheEnd(123456, blocks);
    WdbIEventBlockDatabase::IteratorVector iterators;
    std::vector<std::vector<WdbScalarBTree*>> groups;
    database->getEventBlockDatabaseIterator(
        {&inSecond, &inFirst, &missing, &behindTheEnd, &alsoInFirst}, iterators, groups);
    EXPECT_EQ(iterators.size(), 3u);
    EXPECT_EQ(groups, (std::vector<std::vector<WdbScalarBTree*>>{
                          {&inFirst, &alsoInFirst}, {&inSecond}, {&behindTheEnd}}));
    EXPECT_EQ(
        eventsOf(iterators),
        (std::vector<TestEvent>{{1, 10, "a"}, {2, 2047, "b"}, {2, 2048, "c"}, {3, 9999, "d"}}));
}

TEST(EventDatabase, filterMakesRoomInAFullBlockAndOnlyThere)
{
    for (const bool filter : {true, false}) {
        TestContainer container;
        auto database = container.createDatabase(1001, 2048);
        database->setFilterRepeatedValue(filter);
        for (int i = 0; i < 5000; ++i) {
            add(*database, {1, i % 2, littleEndian(static_cast<unsigned>(i), 4)});
        }
        const std::vector<TestEvent> events = eventsOf(*database);
        EXPECT_EQ(events.back().value, littleEndian(4999, 4));
        EXPECT_TRUE(filter ? events.size() < 600 : events.size() == 5000) << events.size();
    }
}

TEST(EventDatabase, latestTimeNeverFallsAndIsRecoveredWhenItNeverReachedTheFile)
{
    for (const int type : {1000, 1001}) {
        TestContainer container;
        auto database = container.createDatabase(type, 5000);
        EXPECT_EQ(container.openDatabase()->getLatestTime(), 0);
        add(*database, {100, 3000, "x"});
        add(*database, {40, 10, "x"});
        EXPECT_EQ(database->getLatestTime(), 100);
        for (const auto& iterator : database->getAllEventBlockDatabaseIterator()) {
            EXPECT_FALSE(iterator->isEof());
        }
        // 1000 takes the time of its last event, 1001 the latest of its buckets.
        EXPECT_EQ(container.openDatabase()->getLatestTime(), type == 1000 ? 40 : 100);
        database->setLatestTime(500);
        database.reset();
        EXPECT_EQ(container.openDatabase()->getLatestTime(), 500);
    }
}

} // namespace
} // namespace Tracewell
