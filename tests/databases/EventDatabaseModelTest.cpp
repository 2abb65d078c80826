// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "BlockStoreQueue.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <tuple>

namespace Tracewell {
namespace {

struct Shape
{
    int type;
    unsigned long long addressSize;
    unsigned int division;
    bool withQueue;
    unsigned int seed;

    friend std::ostream& operator<<(std::ostream& os, const Shape& shape)
    {
        return os << shape.type << " with " << shape.addressSize << " addresses, " << shape.division
                  << " a bucket" << (shape.withQueue ? ", queued" : "");
    }
};

class EventDatabaseModel : public ::testing::TestWithParam<Shape>
{
protected:
    /// Time, address and value of one byte: the pieces of a change do not matter.
    using ByteChange = std::tuple<long long, long long, char>;

    static void appendBytes(const TestEvent& event, std::vector<ByteChange>& bytes)
    {
        for (std::size_t i = 0; i < event.value.size(); ++i) {
            bytes.emplace_back(event.time, event.address + static_cast<long long>(i),
                               event.value[i]);
        }
    }

    long long bucketOf(long long address) const
    {
        const auto& shape = GetParam();
        if (shape.type == 1000) {
            return 0;
        }
        const long long last =
            WdbIEventBlockDatabase::calculateNumberOfBucket(shape.addressSize, shape.division) - 1;
        return static_cast<unsigned long long>(address) > shape.addressSize
                   ? last
                   : std::min(last, address / shape.division);
    }

    /// What the database does not take.
    bool isOutside(const TestEvent& event) const
    {
        const auto& shape = GetParam();
        return event.address < 0 ||
               (shape.type == 1002 &&
                static_cast<unsigned long long>(event.address) + event.value.size() >
                    (shape.addressSize + 2047) / 2048 * 2048);
    }

    void addToModel(const TestEvent& event)
    {
        std::vector<ByteChange> bytes;
        appendBytes(event, bytes);
        for (const ByteChange& byte : bytes) {
            m_model[bucketOf(std::get<1>(byte))].push_back(byte);
        }
        m_latestTime = std::max(m_latestTime, event.time);
    }

    TestEvent randomEvent(std::mt19937& random)
    {
        const auto& shape = GetParam();
        const auto size = static_cast<long long>(shape.addressSize);
        m_time += below(random, 4) == 0 ? static_cast<long long>(below(random, 5)) - 1 : 0;
        const unsigned int kind = below(random, 200);
        long long address = static_cast<long long>(random() << 32 | random()) % (size + 1);
        if (kind == 0) {
            address = size + below(random, 100000);
        } else if (kind == 1) {
            address = -1ll - below(random, 5000);
        }
        unsigned int length = 1u << below(random, 5);
        if (kind < 6) {
            length = 1 + below(random, kind == 2 ? 30000 : 300);
        }
        // Now and then noise, so that blocks come up which do not compress.
        return {m_time, address,
                below(random, 8) == 0 ? randomBytes(random, length)
                                      : std::string(length, static_cast<char>(below(random, 3)))};
    }

    /// Without what a type that always drops repeats may have dropped.
    static std::vector<ByteChange> counting(std::vector<ByteChange> bytes)
    {
        if (GetParam().type != 1002) {
            return bytes;
        }
        std::map<std::pair<long long, long long>, char> last;
        for (const auto& [time, address, value] : bytes) {
            last[{time, address}] = value;
        }
        bytes.clear();
        for (const auto& [place, value] : last) {
            bytes.emplace_back(place.first, place.second, value);
        }
        return bytes;
    }

    void expectModel(const WdbIEventBlockDatabase& database)
    {
        EXPECT_EQ(database.getLatestTime(), m_latestTime);
        const auto iterators = database.getAllEventBlockDatabaseIterator();
        ASSERT_EQ(iterators.size(), m_model.size());
        auto expected = m_model.begin();
        for (const auto& iterator : iterators) {
            std::vector<ByteChange> bytes;
            for (const TestEvent& event : eventsOf({iterator})) {
                appendBytes(event, bytes);
            }
            ASSERT_TRUE(counting(std::move(bytes)) == counting(expected->second))
                << "bucket " << expected->first;
            ++expected;
        }
    }

    std::map<long long, std::vector<ByteChange>> m_model; // by bucket
    long long m_time = 5;
    long long m_latestTime = 0;
};

TEST_P(EventDatabaseModel, givesBackEveryByteOfEveryBucketInOrder)
{
    const auto& shape = GetParam();
    SCOPED_TRACE(shape.seed);
    std::mt19937 random(Tracewell::seeded(shape.seed));
    TestContainer container;
    auto database = container.createDatabase(shape.type, shape.addressSize, shape.division);
    if (shape.withQueue) {
        dynamic_cast<WdbMultipleBucketEventDatabase&>(*database).setStoreQueue(
            std::make_shared<BlockStoreQueue>(2, 100000));
    }
    database->setFilterRepeatedValue(false);
    for (int i = 0; i < 40000; ++i) {
        const TestEvent event = randomEvent(random);
        if (!isOutside(event)) {
            addToModel(event);
            add(*database, event);
        } else if (shape.type == 1002) {
            EXPECT_THROW(add(*database, event), std::out_of_range);
        } else {
            add(*database, event);
        }
        if (below(random, 5000) == 0) {
            database->flush();
        }
        if (below(random, 10000) == 0) {
            expectModel(*database);
        }
    }
    expectModel(*database);
    database.reset();
    container.reopen();
    expectModel(*container.openDatabase());
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, EventDatabaseModel,
    ::testing::Values(Shape{1000, 3000, 2048, false, 1}, Shape{1001, 5000, 2048, false, 2},
                      Shape{1001, 5000, 2048, true, 3}, Shape{1001, 4096, 2048, true, 4},
                      Shape{1001, 3000, 17, true, 5}, Shape{1001, 999, 1, false, 6},
                      Shape{1001, 100000, 3000000000u, false, 7},
                      Shape{1001, 9000000000, 1000000000, true, 8},
                      Shape{1002, 5000, 2048, false, 9}));

/// An event in one piece is stored in one, so that small pieces do not go unnoticed above.
TEST(EventDatabasePieces, bordersAndBlockSizesAreTheOnlyReasonsToSplit)
{
    const std::string value(20430, 'v');
    for (const int type : {1000, 1001}) {
        TestContainer container;
        auto database = container.createDatabase(type, 100000, 50000);
        add(*database, {1, 49990, value.substr(0, 15)});
        add(*database, {2, 99990, value.substr(0, 15)});
        add(*database, {3, 1000000, value});
        std::vector<std::size_t> sizes;
        for (const TestEvent& event : eventsOf(*database)) {
            sizes.push_back(event.value.size());
        }
        const std::size_t longest = 10240 - 20 - 20 - 1;
        if (type == 1000) {
            EXPECT_EQ(sizes, (std::vector<std::size_t>{15, 15, longest, longest, 32}));
        } else {
            EXPECT_EQ(sizes, (std::vector<std::size_t>{10, 5, 10, 5, longest, longest, 32}));
        }
    }
}

TEST(EventDatabasePieces, incompressibleBlocksAreStoredAsHalvesThatFit)
{
    std::mt19937 random(Tracewell::seeded(9));
    TestContainer container;
    auto database = container.createDatabase(1001, 100000, 100000);
    std::vector<TestEvent> expected;
    for (int i = 0; i < 30; ++i) {
        expected.push_back({i, 2000 * i, randomBytes(random, 2000)});
        add(*database, expected.back());
    }
    // A block with one event alone is halved by address.
    const std::string lone = randomBytes(random, 10199);
    add(*database, {99, 5, lone});
    expected.push_back({99, 5, lone.substr(0, 5099)});
    expected.push_back({99, 5 + 5099, lone.substr(5099)});
    EXPECT_EQ(eventsOf(*database), expected);
}

TEST(EventDatabasePieces, withoutABucketEverythingIsDropped)
{
    for (const int type : {1000, 1001}) {
        TestContainer container;
        auto database = container.createDatabase(type, 0);
        const std::string before = container.content();
        add(*database, {1, 0, "x"});
        database->flush();
        EXPECT_TRUE(database->getEventBlockDatabaseIterator({0, 5}).empty());
        EXPECT_EQ(container.content(), before);
    }
}

} // namespace
} // namespace Tracewell
