// SPDX-License-Identifier: BSD-3-Clause

#include "SharedMemReader.h"
#include "WdbFileManager.h"
#include "WdbLiveEvent.h"
#include "WdbReadWriteSync.h"
#include "WdbSharedMemMgr.h"
#include "WdbSharedMemReader.h"
#include "WdbSingleBucketEventDatabase.h"
#include "WdbStaticReader.h"
#include "testing/ForkedProcess.h"

#include "testing/TestFiles.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

namespace Tracewell {
namespace {

using ::testing::ElementsAre;

using Times = std::vector<long long>;

/// Keeps the times of the events that it is given.
class RecordingReader : public WdbStaticReader
{
public:
    void addEventBuffered(const WdbLiveEvent* event) override
    {
        m_buffered.push_back(event->getTime());
    }
    void flushEvents() override
    {
        m_flushed.insert(m_flushed.end(), m_buffered.begin(), m_buffered.end());
        m_buffered.clear();
    }

    Times m_buffered;
    Times m_flushed;
};

/// The same for a database, without a file.
class RecordingDatabase : public WdbSingleBucketEventDatabase
{
public:
    explicit RecordingDatabase(WdbFileManager& manager)
        : WdbSingleBucketEventDatabase(1000, manager)
    {}
    void writeEvent(long long time, long long, unsigned int, const unsigned char*) override
    {
        m_times.push_back(time);
    }

    Times m_times;
};

bool sendEvent(WdbSharedMemMgr& kernel, long long time)
{
    const unsigned char value = 1;
    WdbLivePacketContainer change;
    change.setData(time, 1, 0, &value);
    return kernel.putPacket(&change);
}

class ReaderThread : public ::testing::Test
{
protected:
    std::string path() const { return m_directory.path("snap"); }
    std::unique_ptr<WdbSharedMemReader> open()
    {
        return std::make_unique<WdbSharedMemReader>(path(), 1, &m_reader);
    }
    /// Sends an event and a mark and waits until the mark has brought the latest time.
    void sendAndAwait(WdbSharedMemMgr& kernel, WdbSharedMemReader& channel,
                      const RecordingDatabase& database, long long time)
    {
        ASSERT_TRUE(sendEvent(kernel, time));
        ASSERT_TRUE(kernel.putPacketMarkTime(time));
        boost::unique_lock<boost::mutex> lock(channel.getTimeMarkMutex());
        while (latestTime(database) != time) {
            channel.waitForTimeMark(lock);
        }
    }
    long long latestTime(const RecordingDatabase& database)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_reader.getReadWriteMutex());
        return database.getLatestTime();
    }

    const TestDirectory m_directory;
    WdbFileManager m_fileManager;
    RecordingReader m_reader;
    RecordingDatabase m_database{m_fileManager};
};

TEST_F(ReaderThread, everyMarkComesBehindTheEventsBeforeItAndBothSidesHaveTheSame)
{
    constexpr long long kMarks = 10000;
    constexpr long long kEventsAMark = 20;
    Signal created;
    ForkedProcess kernel([&] {
        WdbSharedMemMgr channel(true, path(), 1);
        created.give();
        for (long long time = 1; time <= kMarks * kEventsAMark; ++time) {
            if (!sendEvent(channel, time) ||
                (time % kEventsAMark == 0 && !channel.putPacketMarkTime(time))) {
                return false;
            }
        }
        return created.giveAndStay();
    });
    created.await();
    const auto channel = open();
    channel->start(&m_database);
    for (long long latest = 0; latest < kMarks * kEventsAMark;) {
        {
            boost::unique_lock<boost::mutex> lock(channel->getTimeMarkMutex());
            if (latestTime(m_database) == latest) {
                channel->waitForTimeMark(lock);
            }
        }
        const std::lock_guard<std::recursive_mutex> lock(m_reader.getReadWriteMutex());
        latest = m_database.getLatestTime();
        ASSERT_GE(static_cast<long long>(m_reader.m_flushed.size()), latest);
        ASSERT_EQ(m_database.m_times.size(),
                  m_reader.m_flushed.size() + m_reader.m_buffered.size());
    }
    EXPECT_TRUE(channel->hasNewEvents());
    EXPECT_FALSE(channel->hasNewEvents());
    channel->stop();
    Times expected(kMarks * kEventsAMark);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_TRUE(m_database.m_times == expected);
    EXPECT_TRUE(m_reader.m_flushed == expected);
    kernel.kill();
    const WdbSharedMemMgr cleanUp(true, path(), 1);
}

TEST_F(ReaderThread, rubbishEndsABatchWithALineAndTheNextBatchIsReadAgain)
{
    WdbSharedMemMgr kernel(true, path(), 1);
    const auto channel = open();
    ::testing::internal::CaptureStderr();
    sendEvent(kernel, 1);
    ASSERT_TRUE(kernel.putPacket("abcd", 4));
    sendEvent(kernel, 2);
    channel->start(&m_database);
    while (!channel->hasNewEvents()) {
        std::this_thread::yield();
    }
    sendAndAwait(kernel, *channel, m_database, 3);
    channel->stop();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "tracewell: live channel 1 of " + path() +
                  ": at byte 25 of 58 received: a packet of 4 bytes, which is neither a time mark "
                  "nor an event; the rest of what was received with it is dropped.\n");
    EXPECT_THAT(m_database.m_times, ElementsAre(1, 3));
    EXPECT_THAT(m_reader.m_flushed, ElementsAre(1, 3));
}

TEST_F(ReaderThread, restartEmptiesTheRingAndStopDoesNot)
{
    WdbSharedMemMgr kernel(true, path(), 1);
    const auto channel = open();
    channel->start(&m_database);
    sendAndAwait(kernel, *channel, m_database, 1);
    channel->stop();
    sendEvent(kernel, 2);
    channel->start(&m_database);
    sendAndAwait(kernel, *channel, m_database, 3);
    channel->stop();
    sendEvent(kernel, 4);
    channel->restart();
    RecordingDatabase next(m_fileManager);
    channel->start(&next);
    sendAndAwait(kernel, *channel, next, 5);
    channel->restart();
    channel->stop();
    EXPECT_THAT(m_database.m_times, ElementsAre(1, 2, 3));
    EXPECT_THAT(next.m_times, ElementsAre(5));
}

TEST_F(ReaderThread, startGoesOverToTheRegionOfANewProducer)
{
    Signal ready;
    ForkedProcess old([&] {
        const WdbSharedMemMgr kernel(true, path(), 1);
        return ready.giveAndStay();
    });
    ready.await();
    const auto channel = open();
    EXPECT_TRUE(channel->isPeerPresent());
    old.kill();
    EXPECT_FALSE(channel->isPeerPresent());
    WdbSharedMemMgr kernel(true, path(), 1);
    channel->start(&m_database);
    sendAndAwait(kernel, *channel, m_database, 2);
    channel->stop();
    EXPECT_THAT(m_database.m_times, ElementsAre(2));
}

TEST_F(ReaderThread, withoutMarksTheBufferIsFlushedAtABoundAndWaitingEnds)
{
    constexpr std::size_t kEvents = 70000;
    WdbSharedMemMgr kernel(true, path(), 1);
    const auto channel = open();
    channel->start(&m_database);
    for (std::size_t i = 0; i < kEvents; ++i) {
        sendEvent(kernel, 1);
    }
    for (std::size_t stored = 0; stored < kEvents;) {
        const std::lock_guard<std::recursive_mutex> lock(m_reader.getReadWriteMutex());
        stored = m_database.m_times.size();
    }
    const auto begin = std::chrono::steady_clock::now();
    {
        boost::unique_lock<boost::mutex> lock(channel->getTimeMarkMutex());
        channel->waitForTimeMark(lock);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    channel->stop();
    EXPECT_EQ(m_reader.m_flushed.size(), 65536u);
    EXPECT_EQ(latestTime(m_database), 0);
}

// What the gate guards is a plain number: the thread sanitizer sees an overlap too.
TEST(ReadWriteSync, readerAndWriterNeverMeetAndNeitherHangs)
{
    constexpr int kRounds = 1000;
    WdbReadWriteSync gate;
    volatile long long guarded = 0;
    std::atomic<bool> done{false};
    SharedMemReader writer;
    writer.start([&] {
        while (!done) {
            const WdbReadWriteSync::WdbWritelock lock(gate);
            guarded = guarded + 1;
            std::this_thread::yield();
            guarded = guarded + 1;
        }
    });
    long long seen = 0;
    int odd = 0;
    for (int round = 0; round < kRounds || seen < kRounds; ++round) {
        {
            const WdbReadWriteSync::WdbReadlock lock(gate);
            seen = guarded;
            odd += static_cast<int>(seen % 2);
        }
        std::this_thread::yield();
    }
    done = true;
    EXPECT_EQ(odd, 0);
}

} // namespace
} // namespace Tracewell
