// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "BlockStoreQueue.h"
#include "ImageCompressor.h"
#include "WdbStandAloneWriter.h"
#include "WdbStringMapDatabase.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>

namespace Tracewell {
namespace {

/// Takes as long to compress as it is told, and notes its number when it is committed.
class NotingTask : public StoreTask
{
public:
    NotingTask(int number, int work, std::vector<int>& committed, std::atomic<int>& underWay)
        : m_number(number), m_work(work), m_committed(committed), m_underWay(underWay)
    {}
    void compress(ImageCompressor& compressor) override
    {
        const std::string image(1024, 'x');
        for (int i = 0; i < m_work; ++i) {
            compressor.compress(image.data(), 1024);
        }
    }
    void commit() override
    {
        m_committed.push_back(m_number);
        --m_underWay;
    }

    int m_number;
    int m_work;
    std::vector<int>& m_committed;
    std::atomic<int>& m_underWay;
};

TEST(BlockStoreQueue, commitsInTheOrderOfSubmissionAndHoldsNoMoreThanItsBound)
{
    for (const unsigned int workers : {0u, 1u, 2u, 4u}) {
        std::mt19937 random(Tracewell::seeded(workers));
        std::vector<int> committed;
        std::atomic<int> underWay{0};
        std::deque<NotingTask> tasks;
        BlockStoreQueue queue(workers, 1000);
        queue.drain();
        for (int i = 0; i < 400; ++i) {
            tasks.emplace_back(i, below(random, 8) == 0 ? 20 : 0, committed, underWay);
            queue.submit(tasks.back(), 100);
            // Ten fit, and one more may be committed and not yet counted off.
            EXPECT_LE(++underWay, 11);
            if (i % 90 == 0) {
                queue.drain();
                EXPECT_EQ(underWay, 0);
                EXPECT_EQ(committed.size(), tasks.size());
            }
        }
        // A task above the bound waits until it is alone, and is not refused.
        tasks.emplace_back(400, 0, committed, underWay);
        ++underWay;
        queue.submit(tasks.back(), 5000);
        queue.drain();
        ASSERT_EQ(committed.size(), 401u);
        EXPECT_TRUE(std::is_sorted(committed.begin(), committed.end()));
    }
}

struct Load
{
    const char* name;
    unsigned long long addressSize;
    unsigned int division;
    unsigned int noisePercent;
    unsigned int longest;
    int events;

    friend std::ostream& operator<<(std::ostream& os, const Load& load) { return os << load.name; }
};

class StoreQueueLoad : public ::testing::TestWithParam<Load>
{
protected:
    struct Recorder
    {
        std::function<void(const TestEvent&)> add;
        std::function<void(const std::string&)> addString;
        std::function<void()> flush;
    };

    static void produce(const Recorder& recorder)
    {
        const Load& load = GetParam();
        std::mt19937 random(Tracewell::seeded(5));
        for (int i = 0; i < load.events; ++i) {
            const std::size_t length = 1 + below(random, load.longest);
            recorder.add({i / 20, static_cast<long long>(random() % load.addressSize),
                          below(random, 100) < load.noisePercent ? randomBytes(random, length)
                                                                 : std::string(length, 'v')});
            if (i % 50 == 0) {
                recorder.addString("text " + std::to_string(i) +
                                   std::string(below(random, 300), 't'));
            }
            if (i % (load.events / 3) == 100) {
                recorder.flush();
            }
        }
    }

    /// The file's content but for the creation time in its header.
    static std::string contentOf(const std::string& path)
    {
        return readFile(path).replace(56, 4, 4, '\0');
    }

    static std::string record(const std::shared_ptr<BlockStoreQueue>& queue)
    {
        const Load& load = GetParam();
        TestContainer container;
        auto database = container.createDatabase(1001, load.addressSize, load.division);
        WdbStringMapDatabase strings(container.files());
        strings.initialize(
            WdbStringMapDatabase::createStringMapSection(101, container.files(), true), true);
        dynamic_cast<WdbMultipleBucketEventDatabase&>(*database).setStoreQueue(queue);
        strings.setStoreQueue(queue);
        produce({[&](const TestEvent& event) { add(*database, event); },
                 [&](const std::string& text) { strings.addString(text); },
                 [&] {
                     // What is stored to be looked at comes first in a flush as well.
                     std::string text;
                     EXPECT_TRUE(strings.getString(1, text));
                     strings.flush();
                     EXPECT_FALSE(database->getAllEventBlockDatabaseIterator().empty());
                     database->flush();
                 }});
        database.reset();
        strings.flush();
        return contentOf(container.path());
    }

    static std::string recordByWriter()
    {
        const Load& load = GetParam();
        const TestDirectory directory;
        WdbStandAloneWriter writer;
        writer.setAddressSize(static_cast<long long>(load.addressSize));
        writer.setBucketDivision(load.division);
        writer.open(IWdbWriter::kDefaultMode, "", directory.path("run.wdb"), 0);
        const auto trace = writer.getTraceScVirtualObjectFunc();
        produce({[&](const TestEvent& event) {
                     std::string value = event.value;
                     trace(event.time, static_cast<unsigned int>(event.address),
                           reinterpret_cast<unsigned char*>(value.data()), 0,
                           static_cast<unsigned int>(value.size()));
                 },
                 [&](const std::string& text) { writer.addString(text); },
                 [&] { writer.flush(); }});
        writer.close();
        return contentOf(directory.path("run.wdb"));
    }
};

TEST_P(StoreQueueLoad, fileIsTheOneWithoutAQueueByteForByte)
{
    const std::string expected = record(nullptr);
    for (const auto& queue :
         {std::make_shared<BlockStoreQueue>(), std::make_shared<BlockStoreQueue>(1),
          std::make_shared<BlockStoreQueue>(4, 1), std::make_shared<BlockStoreQueue>(2, 100000)}) {
        EXPECT_TRUE(record(queue) == expected);
    }
    EXPECT_TRUE(recordByWriter() == expected);
}

INSTANTIATE_TEST_SUITE_P(Loads, StoreQueueLoad,
                         ::testing::Values(Load{"fewBuckets", 5000, 2048, 0, 8, 60000},
                                           Load{"manyBuckets", 200000, 256, 5, 8, 60000},
                                           Load{"noise", 5000, 2048, 100, 300, 6000}),
                         [](const auto& load) { return std::string(load.param.name); });

} // namespace
} // namespace Tracewell
