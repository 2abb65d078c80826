// SPDX-License-Identifier: BSD-3-Clause

#include "ChannelFixture.h"
#include "ChannelName.h"
#include "ChannelRefusal.h"
#include "testing/Seed.h"

#include "testing/ForkedProcess.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <thread>
#include <tuple>
#include <utility>

namespace Tracewell {
namespace {

class Channel : public ChannelFixture
{
protected:
    /// More than the ring holds.
    static constexpr int kTransitions = 250000;

    static void add(DataBase& dataBase, int i)
    {
        const unsigned int id = 1 + static_cast<unsigned int>(i) % 7;
        Value value;
        switch (id) {
        case 1:
            dataBase.addVlogTransitionToDB(id, i, static_cast<char>(i % 4));
            return;
        case 2:
            dataBase.addVhdlStdLogicTransitionToDB(id, i, static_cast<char>(i % 9));
            return;
        case 3:
            value.setByte(static_cast<unsigned char>(i));
            break;
        case 4:
            value.setInt32(-i);
            break;
        case 5:
            value.setInt64(-1LL * i * i);
            break;
        case 6:
            value.setDouble(i / 3.0);
            break;
        default:
            value.setBit(i / 7 % 2 != 0);
        }
        dataBase.addTransitionToDB(id, i, value);
    }
    /// The file of a process that stores for itself.
    std::string expectedFile(int count) const
    {
        const auto writer = open(DataBaseMode::Writer);
        for (int i = 0; i < count; ++i) {
            add(*writer, i);
        }
        writer->saveTransitionToDisk();
        return readFile(fileName());
    }
    static void awaitLatestTime(DataBase& reader, long long time)
    {
        while (reader.getLatestTime() != time) {
            std::this_thread::yield();
        }
    }
};

TEST_F(Channel, slotsHaveTheirBytesAndTextsTakeNone)
{
    const auto feeder = open(DataBaseMode::Feeder);
    SharedMemory view = ring(SharedMemory::kOpen);
    Value value;
    value.setString("text");
    feeder->addTransitionToDB(1, 10, value);
    EXPECT_EQ(view.getNextBlock(), nullptr);
    value.setUInt32(7);
    feeder->addTransitionToDB(2, 11, value);
    EXPECT_EQ(takeHead(view, 0), head(11, 2, 3));
    value.setInt32(-2);
    feeder->addTransitionToDB(3, 12, value);
    EXPECT_EQ(takeHead(view, 4), head(12, 3, 2) + halfWords(-2));
    value.setDouble(1.0);
    feeder->addTransitionToDB(4, -13, value);
    EXPECT_EQ(takeHead(view, 8), head(-13, 4, 6) + words(0x3FF0000000000000));
    feeder->addVlogTransitionToDB(5, 14, 3);
    EXPECT_EQ(takeHead(view, 1), head(14, 5, 11) + '\3');
    EXPECT_TRUE(feeder->addTimeMarkToDB(15));
    EXPECT_EQ(takeHead(view, 0), head(15, 0xFFFFFFFF, 0));

    feeder->addVlogTransitionToDB(5, 16, 3);
    feeder->restartDatabase();
    EXPECT_EQ(view.getNextBlock(), nullptr);
}

TEST_F(Channel, everythingArrivesInOrderThroughAFullRingBesideMarks)
{
    const std::string expected = expectedFile(kTransitions);
    Signal created, fed;
    ForkedProcess process([&] {
        const auto feeder = open(DataBaseMode::Feeder);
        // The reader comes when the ring is full.
        int looks = 0;
        feeder->setWaitHook([&] {
            if (++looks == 2) {
                created.give();
            }
            return true;
        });
        std::atomic<bool> isDone{false};
        std::thread marks;
        for (int i = 0; i < kTransitions; ++i) {
            add(*feeder, i);
            if (i == kTransitions / 2) {
                marks = std::thread([&] {
                    while (!isDone) {
                        feeder->addTimeMarkToDB(1);
                    }
                });
            }
        }
        isDone = true;
        marks.join();
        feeder->addTimeMarkToDB(kTransitions + 5);
        fed.give();
        return true;
    });
    created.await();
    auto reader = open(DataBaseMode::StoringReader);
    ASSERT_TRUE(reader->isChannelOpen());
    boost::unique_lock<boost::mutex> lock(reader->getTimeMarkMutex());
    reader->markTime(lock);
    lock.unlock();
    fed.await();
    EXPECT_TRUE(process.succeeds());
    awaitLatestTime(*reader, kTransitions + 5);
    EXPECT_TRUE(reader->hasMoreData());
    EXPECT_FALSE(reader->hasMoreData());
    reader.reset();
    // The last mark raised the latest time, the 8 bytes at the start of the tree section.
    std::string file = readFile(fileName());
    ASSERT_EQ(file.size(), expected.size());
    long long tree = 0;
    std::memcpy(&tree, file.data() + 40, sizeof tree);
    EXPECT_EQ(file.substr(static_cast<std::size_t>(tree), 8), words(kTransitions + 5));
    file.replace(static_cast<std::size_t>(tree), 8, words(kTransitions - 1));
    EXPECT_TRUE(file == expected);
}

TEST_F(Channel, readerOfAKilledFeederKeepsWhatItSentAndWaitsForNoMark)
{
    constexpr int kSent = 5000;
    const std::string expected = expectedFile(kSent);
    Signal sent;
    ForkedProcess process([&] {
        const auto feeder = open(DataBaseMode::Feeder);
        for (int i = 0; i < kSent; ++i) {
            add(*feeder, i);
        }
        return sent.giveAndStay();
    });
    sent.await();
    auto reader = open(DataBaseMode::StoringReader);
    EXPECT_TRUE(reader->isPeerPresent());
    process.kill();
    EXPECT_FALSE(reader->isPeerPresent());
    boost::unique_lock<boost::mutex> lock(reader->getTimeMarkMutex());
    reader->markTime(lock);
    lock.unlock();
    // Nobody is left to end this wait but the end itself.
    std::thread waiting([&] { reader->holdForMarkTime(); });
    reader->saveTransitionToDisk();
    waiting.join();
    reader.reset();
    EXPECT_TRUE(readFile(fileName()) == expected);
}

TEST_F(Channel, feederOutlivesAKilledReaderAndServesTheNext)
{
    Signal made, attached;
    std::unique_ptr<DataBase> feeder;
    ForkedProcess process([&] {
        made.await();
        const auto reader = open(DataBaseMode::StoringReader);
        return attached.giveAndStay();
    });
    feeder = open(DataBaseMode::Feeder);
    made.give();
    attached.await();
    EXPECT_TRUE(feeder->isPeerPresent());
    process.kill();
    bool hasGivenUp = false;
    feeder->setWaitHook([&] {
        hasGivenUp = hasGivenUp || !feeder->isPeerPresent();
        return !hasGivenUp;
    });
    const auto goesOn = [&] { return !hasGivenUp; };
    for (int i = 0; goesOn(); ++i) {
        add(*feeder, i);
    }
    const auto reader = open(DataBaseMode::StoringReader);
    feeder->setWaitHook({});
    feeder->addTimeMarkToDB(kTransitions);
    awaitLatestTime(*reader, kTransitions);
    EXPECT_TRUE(reader->restartDatabase());
    feeder->addTimeMarkToDB(7);
    awaitLatestTime(*reader, 7);
}

TEST_F(Channel, readerTrustsNoSlot)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(Tracewell::seeded(seed));
    ::testing::internal::CaptureStderr();
    SharedMemory feeder = ring(SharedMemory::kCreate);
    const auto put = [&](long long time, unsigned int id, unsigned int type) {
        char* place = nullptr;
        while (!(place = feeder.getEmptyBlock())) {
            std::this_thread::yield();
        }
        const std::string bytes = head(time, id, type) + words(random());
        std::memcpy(place, bytes.data(), bytes.size());
        feeder.commitWrite();
    };
    const auto reader = open(DataBaseMode::StoringReader);
    for (unsigned int type : {3U, 5U, 7U, 8U, 9U, 13U, 0xFFFFFFFFU}) {
        put(1, 9, type);
    }
    for (int i = 0; i < 100000; ++i) {
        const unsigned int ids[] = {1, 2, 3, 65537, 0x7FFFFFFF, 0xFFFFFFFE};
        put(static_cast<long long>(random() >> random() % 64), ids[random() % 6],
            static_cast<unsigned int>(random() % 16));
    }
    put(-5, 9, 1);
    put(50, 10, 11);
    for (unsigned int type : {0U, 12U, 4U}) {
        put(60, 10, type);
    }
    put(49, 10, 11);
    put(77, 0xFFFFFFFF, 0);
    awaitLatestTime(*reader, 77);
    long long first = 0;
    long long last = 0;
    ValueType type = ValueNone;
    EXPECT_FALSE(reader->getTransInfo(9, first, last, type));
    ASSERT_TRUE(reader->getTransInfo(10, first, last, type));
    EXPECT_EQ(std::tuple(first, last, type), std::tuple(50, 50, ValueVlog));
    EXPECT_GT(reader->getRefusedCount(), 12U);
    const std::string words = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(words.find("object 9 was sent with a value of a kind that does not travel"),
              std::string::npos);
    EXPECT_EQ(std::count(words.begin(), words.end(), '\n'), 1);
}

// The reader would pass an index between two records for ever.
TEST_F(Channel, anIndexThatIsNoPlaceOfTheRingIsToldOnceByEachSideAndCounted)
{
    for (const std::string& indices :
         {std::string(8, '\xFF'), std::string("\x0C\0\0\0\0\0\0\0", 8)}) {
        SCOPED_TRACE(static_cast<int>(indices[0]));
        const auto feeder = open(DataBaseMode::Feeder);
        const auto reader = open(DataBaseMode::StoringReader);
        ::testing::internal::CaptureStderr();
        int waits = 0;
        feeder->setWaitHook([&] { return ++waits % 3 != 0; });
        const std::string place = "/dev/shm" + makeRegionName("Local\\QSimReadWritePtr0", "",
                                                              makeAbsolute(channelPath()), "");
        std::fstream(place, std::ios::in | std::ios::out) << indices << std::flush;
        for (int i = 0; i < 2; ++i) {
            add(*feeder, i);
        }
        while (reader->getRefusedCount() == 0) {
            std::this_thread::yield();
        }
        const std::string lines = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
        EXPECT_NE(lines.find("an index of the ring lies outside of it or between two records"),
                  std::string::npos);
        EXPECT_EQ(reader->getStoredCount(), 0U);
    }
}

// A viewer with the records of one run and the pointers of the next would see foreign values.
TEST_F(Channel, recordsAndPointersComeFromOneFeederHoweverQuicklyItClosesAndOpens)
{
    const auto smallRing = [](int mode) {
        return SharedMemory(mode, channelPath(), 0, 2400, "Records", 16, "Pointers");
    };
    std::atomic<bool> isDone{false};
    std::thread feeding([&] {
        for (int run = 1; !isDone; ++run) {
            SharedMemory feeder = smallRing(SharedMemory::kCreate);
            std::memcpy(feeder.getEmptyBlock(), &run, sizeof run);
            feeder.commitWrite();
            // A viewer that has come is let have it.
            while (feeder.isPeerPresent() && feeder.getFilledCount() > 0) {
                std::this_thread::yield();
            }
        }
    });
    int last = 0;
    // As many as a loaded machine gives in some seconds.
    const auto enough = std::chrono::steady_clock::now() + std::chrono::seconds(8);
    for (int found = 0;
         found < 200 || (found < 3000 && std::chrono::steady_clock::now() < enough);) {
        const ChannelRefusal quiet;
        SharedMemory viewer = smallRing(SharedMemory::kOpen);
        if (!viewer.isMapped()) {
            continue;
        }
        while (viewer.isPeerPresent() && viewer.getFilledCount() == 0) {
            std::this_thread::yield();
        }
        if (const char* const slot = viewer.getNextBlock()) {
            int run = 0;
            std::memcpy(&run, slot, sizeof run);
            EXPECT_GT(run, last);
            last = run;
            ++found;
            viewer.advanceRead();
        }
    }
    isDone = true;
    feeding.join();
}

TEST_F(Channel, isFoundAndCountedAndItsFileEndsWithTheDebugDataGiven)
{
    const auto state = [] {
        return std::pair(DataBase::isOffered(kDesign, 0), DataBase::isTaken(kDesign, 0));
    };
    writeFile(fileName(), std::string(100000, 'x'));
    EXPECT_EQ(state(), std::pair(false, false));
    auto feeder = open(DataBaseMode::Feeder);
    EXPECT_EQ(state(), std::pair(true, false));
    for (int i = 0; i < 5; ++i) {
        add(*feeder, i);
    }
    feeder->addTimeMarkToDB(5);
    auto reader = open(DataBaseMode::StoringReader);
    reader->setDebugData("other names");
    EXPECT_EQ(state(), std::pair(true, true));
    awaitLatestTime(*reader, 5);
    reader->saveTransitionToDisk();
    unsigned long long stored = 0;
    unsigned long long sent = 0;
    reader->getTraffic(stored, sent);
    EXPECT_EQ(std::tuple(stored, sent, reader->getStoredCount()), std::tuple(6U, 6U, 5U));
    feeder->addTimeMarkToDB(6);
    reader->getTraffic(stored, sent);
    EXPECT_EQ(sent - stored, 1U);
    EXPECT_EQ(reader->getFileError(), 0);
    const std::string file = readFile(fileName());
    EXPECT_LT(file.size(), 10000U);
    EXPECT_EQ(file.substr(file.size() - 11), "other names");
    feeder.reset();
    EXPECT_EQ(state(), std::pair(false, false));
}

TEST_F(Channel, endsThatHaveNoChannelDoNothing)
{
    const auto reader = open(DataBaseMode::StoringReader);
    const auto start = std::chrono::steady_clock::now();
    boost::unique_lock<boost::mutex> lock(reader->getTimeMarkMutex());
    reader->markTime(lock);
    lock.unlock();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2900));
    reader->holdForMarkTime();
    unsigned int id = 0;
    long long time = 0;
    Value value;
    EXPECT_FALSE(reader->readOneTransition(id, time, value));
    EXPECT_EQ(reader->getNextSharedMemBlock(), nullptr);
    EXPECT_FALSE(reader->isChannelOpen() || reader->isPeerPresent() || reader->hasMoreData());
}

} // namespace
} // namespace Tracewell
