// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "QsimException.h"
#include "WdbMultipleBucketBtreeDatabase.h"

#include <cstring>

namespace Tracewell {
namespace {

/// A file with 3 buckets and its bytes, to be damaged.
class DamagedEventDatabase : public ::testing::TestWithParam<int>
{
protected:
    void SetUp() override
    {
        std::mt19937 random(Tracewell::seeded(4));
        auto database = m_container.createDatabase(GetParam(), 5000);
        for (int i = 0; i < 3000; ++i) {
            add(*database,
                {i, static_cast<long long>(below(random, 5000)), randomBytes(random, 4)});
        }
        m_header =
            static_cast<std::size_t>(WdbIEventBlockDatabase::getEventSection(m_container.files()));
        database.reset();
        m_container.files().close();
        m_content = m_container.content();
    }

    std::string patched(std::size_t offset, unsigned long long value, int size) const
    {
        return std::string(m_content).replace(m_header + offset, static_cast<std::size_t>(size),
                                              littleEndian(value, size));
    }

    /// The number of events of a file with that content.
    std::size_t countEvents(const std::string& content)
    {
        m_container.files().close();
        writeFile(m_container.path(), content);
        m_container.reopen();
        const auto database = m_container.openDatabase();
        const std::size_t count = eventsOf(*database).size();
        if (auto* const indexed = dynamic_cast<WdbMultipleBucketBtreeDatabase*>(database.get())) {
            WdbEventBlock block(indexed->getEventDatabaseHeader().m_maxEventBlockSize, 0);
            for (long long i = 0; i < 50; ++i) {
                indexed->findEventBlock(i * 100, i * 977 % 3000, block);
            }
        }
        EXPECT_EQ(m_container.content(), content) << "reading has written";
        return count;
    }

    TestContainer m_container;
    std::size_t m_header = 0;
    std::string m_content;
};

TEST_P(DamagedEventDatabase, aHeaderThatCannotBeTrueIsRefused)
{
    EXPECT_GE(countEvents(m_content), 3000u);
    // Buckets, place of their table, block size.
    for (const std::string& content :
         {patched(12, 0x7fffffff, 4), patched(32, 1ull << 40, 8), patched(32, ~0ull, 8),
          patched(64, 0, 4), patched(64, 63, 4), patched(64, 0x0f000000, 4),
          patched(64, 0xffffffff, 4), m_content.substr(0, m_header + 40)}) {
        EXPECT_THROW(countEvents(content), Qsim::OpenException);
    }
    for (const unsigned long long division : {0ull, 1ull << 32}) {
        if (GetParam() == 1000) {
            EXPECT_GE(countEvents(patched(16, division, 8)), 3000u) << "not needed";
        } else {
            EXPECT_THROW(countEvents(patched(16, division, 8)), Qsim::OpenException);
        }
    }
    EXPECT_EQ(countEvents(patched(64, 64, 4)), 0u) << "blocks above the block size are empty";
    EXPECT_GT(countEvents(patched(64, 65536, 4)), 0u);
}

using DamagedEventList = DamagedEventDatabase;

TEST_P(DamagedEventList, entriesThatShareABlockAreNotFollowedWithoutEnd)
{
    const auto numberAt = [this](std::size_t offset) {
        unsigned long long number = 0;
        std::memcpy(&number, m_content.data() + offset, sizeof number);
        return number;
    };
    const std::size_t node = numberAt(numberAt(m_header + 32));
    std::string content = m_content;
    for (std::size_t slot = 1; slot < 100; ++slot) {
        content.replace(node + 8 + 8 * slot, 8, content, node + 8, 8);
        content.replace(node + 808 + 4 * slot, 4, content, node + 808, 4);
    }
    content.replace(node + 1208, 4, littleEndian(100, 4));
    const std::size_t count = countEvents(content);
    EXPECT_GE(count, 3000u);
    EXPECT_LT(count, 12000u) << "no more than the file explains";
}

TEST_P(DamagedEventDatabase, noChangeOfBytesCrashesHangsOrWrites)
{
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(Tracewell::seeded(seed));
        // Every other time to the first nodes, the header and the table alone.
        const std::size_t end = seed % 2 == 0 ? m_content.size() : m_header + 4000;
        const std::string content =
            damaged(m_content.substr(0, end), random) + m_content.substr(end);
        try {
            countEvents(content);
        } catch (const Qsim::OpenException&) {
        }
    }
}

TEST_P(DamagedEventDatabase, whateverChangesTheEventsIsNoted)
{
    const auto read = [this](const std::string& content) {
        m_container.files().close();
        writeFile(m_container.path(), content);
        m_container.reopen();
        return eventsOf(*m_container.openDatabase());
    };
    const auto sound = read(m_content);
    EXPECT_EQ(m_container.files().getDamageLog().getCount(), 0u);
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(Tracewell::seeded(seed));
    const std::size_t start = m_header + sizeof(WdbEventDatabaseHeader);
    unsigned int changed = 0;
    for (unsigned int i = 0; i < 300; ++i) {
        std::string content = m_content;
        const std::size_t at = start + random() % (content.size() - start);
        if (i % 3 == 0) {
            content.replace(at, 50, std::min<std::size_t>(50, content.size() - at), '\0');
        } else {
            content[at] = static_cast<char>(content[at] ^ 1 << random() % 8);
        }
        try {
            const bool isChanged = read(content) != sound;
            changed += isChanged;
            EXPECT_TRUE(!isChanged || m_container.files().getDamageLog().getCount() > 0) << at;
        } catch (const Qsim::OpenException&) {
            // The entry in the table of contents, which is told as well.
        }
    }
    EXPECT_GT(changed, 20u);
}

TEST_P(DamagedEventDatabase, aDatabaseForReadingNeverWrites)
{
    m_container.reopen();
    const auto database = m_container.openDatabase();
    const std::size_t count = eventsOf(*database).size();
    add(*database, {9000, 10, "x"});
    database->setLatestTime(9000);
    database->setAddressMapFileOffsetAndSize(1, 2);
    database->flush();
    EXPECT_EQ(eventsOf(*database).size(), count);
    EXPECT_EQ(m_container.content(), m_content);
}

INSTANTIATE_TEST_SUITE_P(Types, DamagedEventDatabase, ::testing::Values(1000, 1001, 1002));
INSTANTIATE_TEST_SUITE_P(Types, DamagedEventList, ::testing::Values(1000, 1001));

} // namespace
} // namespace Tracewell
