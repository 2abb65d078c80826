// SPDX-License-Identifier: BSD-3-Clause

// A kernel and a viewer, each in a process of its own.

#include "OutputFileNames.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbLiveReader.h"
#include "WdbLiveWriter.h"
#include "WdbStaticReader.h"
#include "testing/ForkedProcess.h"
#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "testing/TestFiles.h"

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include <sys/mman.h>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

constexpr int kMemory = 100000;
/// Places that change in turn, so that each change differs from the one before at its place.
constexpr long long kPlaces = 500;

void pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// A kernel for a process of its own. Change number i, at time i, is one byte at place i % kPlaces.
struct Kernel
{
    explicit Kernel(const std::string& snapshot, int channel = 0)
    {
        writer.setBaseDPOffset(0);
        writer.open(IWdbWriter::kLiveMode, snapshot, "", channel);
    }
    void send(long long i, unsigned char offset = 0)
    {
        unsigned char value = static_cast<unsigned char>(i / kPlaces + offset);
        writer.getTraceScVirtualObjectFunc()(i, static_cast<unsigned long long>(i % kPlaces),
                                             &value, 0, 1);
    }
    void sendAll(long long begin, long long end, unsigned char offset = 0)
    {
        for (long long i = begin; i < end; ++i) {
            send(i, offset);
        }
        writer.markCurrentTime(end - 1);
    }
    void awaitViewer(void (*wait)() = &pause)
    {
        while (!writer.isViewerPresent()) {
            wait();
        }
    }
    bool stayWhileFollowed()
    {
        awaitViewer();
        while (writer.isViewerPresent()) {
            pause();
        }
        return true;
    }

    WdbLiveWriter writer;
};

/// What sendAll(begin, end) makes of a place.
History historyOf(long long place, long long begin, long long end, int offset = 0)
{
    History history;
    long long i = begin + (place - begin % kPlaces + kPlaces) % kPlaces;
    for (; i < end; i += kPlaces) {
        history.emplace_back(i, (i / kPlaces + offset) % 256);
    }
    return history;
}

std::map<long long, History> readHistories(const std::string& path,
                                           const std::set<long long>& places)
{
    WdbStaticReader reader;
    reader.createReader("", path, 0, "");
    Trees trees;
    Trees toScan;
    for (const long long place : places) {
        reader.getBTreeManager().getOrCreateByteBTrees(place, 1, trees, toScan);
    }
    reader.getBTreeManager().scanWdbDatabase(toScan, nullptr);
    std::map<long long, History> histories;
    for (const WdbScalarBTree* const tree : trees) {
        histories[tree->getAddress()] = getHistory(*tree);
    }
    return histories;
}

History readHistory(const std::string& path, long long place)
{
    return readHistories(path, {place})[place];
}

class LiveRoad : public ::testing::Test
{
protected:
    std::string filePath(const std::string& name = "run.wdb") const
    {
        return m_directory.path(name);
    }
    std::unique_ptr<WdbLiveReader> follow(const std::string& snapshot, int channel = 0,
                                          const std::string& file = "run.wdb")
    {
        while (!WdbLiveReader::isOffered(snapshot, channel)) {
            pause();
        }
        auto reader = std::make_unique<WdbLiveReader>();
        reader->setMemFileSize(kMemory);
        reader->setSnapshot(snapshot);
        reader->createReader(filePath(file), "run", channel, m_directory.path(""));
        EXPECT_TRUE(reader->isConnected());
        return reader;
    }
    static void awaitEnd(WdbLiveReader& reader)
    {
        while (reader.isKernelPresent() || !reader.isDrained()) {
            pause();
        }
    }
    static History liveHistory(WdbLiveReader& reader, const WdbScalarBTree& tree)
    {
        const std::lock_guard<std::recursive_mutex> lock(reader.getReadWriteMutex());
        reader.flushEvents();
        return getHistory(tree);
    }

    const TestDirectory m_directory;
    const std::string m_snapshot = "road" + std::to_string(::getpid());
    const unsigned int m_seed = std::random_device{}();
    const ::testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};
    std::mt19937 m_random{Tracewell::seeded(m_seed)};
};

TEST_F(LiveRoad, nothingIsLostOrDoubledWhileMarksComeFromAnotherThreadAndTreesAreOpened)
{
    constexpr long long kMarks = 10000;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ForkedProcess process([&] {
        Kernel kernel(m_snapshot);
        std::atomic<long long> time{0};
        std::atomic<bool> done{false};
        std::thread marker([&] {
            for (long long mark = 0; mark < kMarks; ++mark) {
                kernel.writer.markCurrentTime(time);
            }
            done = true;
        });
        // Marks may be slow to come on a busy machine, and each tree scans all that was sent.
        constexpr long long kFewest = 200000;
        constexpr long long kMost = 1000000;
        while (!done || time < kFewest) {
            if (time == kMost) {
                std::this_thread::yield();
                continue;
            }
            kernel.send(time);
            ++time;
        }
        marker.join();
        const long long end = time;
        kernel.writer.markCurrentTime(end - 1);
        return ::write(ends[1], &end, sizeof end) == sizeof end;
    });
    auto reader = follow(m_snapshot);
    Trees trees;
    while (trees.size() < 100) {
        reader->openByteTrees(static_cast<long long>(trees.size()), 1, trees);
        boost::unique_lock<boost::mutex> lock(reader->getTimeMarkMutex());
        if (reader->isKernelPresent()) {
            reader->markTime(lock);
        }
    }
    EXPECT_TRUE(reader->hasMoreData());
    awaitEnd(*reader);
    EXPECT_TRUE(process.succeeds());
    long long end = 0;
    ASSERT_EQ(::read(ends[0], &end, sizeof end), static_cast<ssize_t>(sizeof end));
    EXPECT_EQ(reader->getEventCount(), static_cast<unsigned long long>(end));
    EXPECT_EQ(reader->getLatestTime(), end - 1);
    for (long long place = 0; place < 100; ++place) {
        ASSERT_EQ(liveHistory(*reader, *trees[static_cast<std::size_t>(place)]),
                  historyOf(place, 0, end))
            << place;
    }
    reader.reset();
    for (const long long place : {0, 99, 499}) {
        EXPECT_EQ(readHistory(filePath(), place), historyOf(place, 0, end)) << place;
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

// The viewer takes nothing until the kernel has found the ring full.
TEST_F(LiveRoad, valuesOfEverySizeComeThroughWholeHoweverSlowTheViewer)
{
    std::vector<unsigned int> sizes{274, 275, 298, 299, 19070, 19071, 19072, 99999, 100000};
    for (unsigned int size = 0; size < 1500; ++size) {
        sizes.push_back(size);
    }
    for (int i = 0; i < 1500; ++i) {
        sizes.push_back(static_cast<unsigned int>(pick(m_random, i % 2 ? 100001 : 600)));
    }
    const auto byteOf = [](std::size_t change, std::size_t place) {
        return static_cast<unsigned char>(change * 7 + place + place / 256);
    };
    Signal held;
    Signal full;
    ForkedProcess process([&] {
        bool told = false;
        Kernel kernel(m_snapshot);
        kernel.writer.close();
        kernel.writer.setWaitHook([&] {
            if (!told) {
                full.give();
            }
            return told = true;
        });
        kernel.writer.open(IWdbWriter::kLiveMode, m_snapshot, "", 1);
        held.await();
        std::vector<unsigned char> value(kMemory);
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            for (std::size_t place = 0; place < sizes[i]; ++place) {
                value[place] = byteOf(i, place);
            }
            kernel.writer.getTraceScVirtualObjectFunc()(static_cast<long long>(i), 0, value.data(),
                                                        0, sizes[i]);
        }
        return true;
    });
    auto reader = follow(m_snapshot, 1);
    {
        const std::lock_guard<std::recursive_mutex> lock(reader->getReadWriteMutex());
        held.give();
        full.await();
    }
    awaitEnd(*reader);
    EXPECT_TRUE(process.succeeds());
    reader.reset();
    std::set<long long> places{0, 99999};
    for (int i = 0; i < 100; ++i) {
        places.insert(pick(m_random, i % 2 ? kMemory : 1500));
    }
    for (const auto& [place, history] : readHistories(filePath(), places)) {
        const auto byte = static_cast<std::size_t>(place);
        History expected;
        for (std::size_t change = 0; change < sizes.size(); ++change) {
            if (sizes[change] > byte &&
                (expected.empty() || expected.back().second != byteOf(change, byte))) {
                expected.emplace_back(change, byteOf(change, byte));
            }
        }
        EXPECT_EQ(history, expected) << place;
    }
}

TEST_F(LiveRoad, aKilledViewerLeavesAReadableFileAndTheKernelNoticesAndGoesOn)
{
    for (int round = 0; round < 5; ++round) {
        ForkedProcess viewer([&] {
            const auto reader = follow(m_snapshot);
            awaitEnd(*reader);
            return true;
        });
        const long long end = 20000 + pick(m_random, 500000);
        Kernel kernel(m_snapshot);
        kernel.awaitViewer();
        kernel.sendAll(0, end);
        viewer.kill();
        EXPECT_FALSE(kernel.writer.isViewerPresent());

        const History stored = readHistory(filePath(), 0);
        const History all = historyOf(0, 0, end);
        ASSERT_LE(stored.size(), all.size());
        EXPECT_TRUE(std::equal(stored.begin(), stored.end(), all.begin()));

        // Whoever comes next gets what is still there and what follows.
        const auto next = follow(m_snapshot, 0, "next.wdb");
        kernel.sendAll(end, end + 1000);
        while (next->getLatestTime() != end + 999) {
            pause();
        }
        EXPECT_GE(next->getEventCount(), 1000u);
    }
}

TEST_F(LiveRoad, aKilledKernelLeavesTheViewerAbleToRelaunchWithTheNextOneAndToClose)
{
    Signal sent;
    Signal goOn;
    ForkedProcess first([&] {
        Kernel kernel(m_snapshot);
        kernel.sendAll(0, 30000);
        sent.give();
        for (long long i = 30000;; ++i) {
            kernel.send(i);
        }
        return true;
    });
    ForkedProcess second([&] {
        goOn.await();
        Kernel kernel(m_snapshot);
        kernel.sendAll(7000, 90000, 1);
        return kernel.stayWhileFollowed();
    });
    writeFile(m_directory.path("names"), "names");
    auto reader = follow(m_snapshot);
    reader->saveDbg(m_directory.path("names"));
    reader->saveRtti(m_directory.path("missing"));
    reader->setProtoSettingsString("settings");
    reader->setObjectTraced(7, 0, 0);
    Trees trees;
    reader->openByteTrees(3, 1, trees);
    sent.await();
    std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 20000));
    first.kill();
    awaitEnd(*reader);
    EXPECT_EQ(liveHistory(*reader, *trees[0]),
              historyOf(3, 0, static_cast<long long>(reader->getEventCount())));

    goOn.give();
    while (!WdbLiveReader::isOffered(m_snapshot, 0)) {
        pause();
    }
    reader->restart();
    reader->relaunchAfterRestart();
    EXPECT_TRUE(reader->isKernelPresent());
    while (reader->getLatestTime() != 89999) {
        pause();
    }
    EXPECT_EQ(liveHistory(*reader, *trees[0]), historyOf(3, 7000, 90000, 1));
    reader.reset();
    EXPECT_TRUE(second.succeeds());

    EXPECT_EQ(readHistory(filePath(), 3), historyOf(3, 7000, 90000, 1));
    WdbStaticReader closed;
    closed.createReader("", filePath(), 0, "");
    EXPECT_EQ(closed.getLatestTime(), 89999);
    EXPECT_TRUE(closed.isObjectTraced(7));
    EXPECT_FALSE(closed.isObjectTraced(8));
    EXPECT_EQ(closed.getProtoSettings(), "settings");
    long long size = 0;
    std::free(closed.getDbg(&size));
    EXPECT_EQ(size, 5);
    EXPECT_EQ(closed.getRtti(&size), nullptr);
}

TEST_F(LiveRoad, restartAndRelaunchUnderLoadLoseNothingOfWhatComesBehind)
{
    ForkedProcess process([&] {
        Kernel kernel(m_snapshot);
        for (long long i = 0;; ++i) {
            kernel.send(i);
        }
        return true;
    });
    auto reader = follow(m_snapshot);
    Trees trees;
    reader->openByteTrees(0, 1, trees);
    ::testing::internal::CaptureStderr();
    for (int round = 0; round < 20; ++round) {
        reader->restart();
        reader->relaunchAfterRestart();
        while (reader->getEventCount() < 3 * kPlaces) {
            std::this_thread::yield();
        }
        const History history = liveHistory(*reader, *trees[0]);
        ASSERT_FALSE(history.empty());
        EXPECT_EQ(history, historyOf(0, history.front().first, history.back().first + 1));
    }
    process.kill();
    const Kernel cleanUp(m_snapshot);
    reader.reset();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(readHistory(filePath(), 0).empty());
}

// The viewer stops in the middle of a run, and the kernel has begun the next one, on the same
// region or on a new one, and perhaps filled the ring, when the viewer takes it up.
TEST_F(LiveRoad, aRunBehindARestartOfBothSidesIsWholeAndAlone)
{
    constexpr int kRounds = 40;
    const auto changesIn = [](int round) { return round % 10 == 9 ? 400000 : 1 + round * 37; };
    struct Shared
    {
        std::atomic<int> asked{0};
        std::atomic<int> begun{0};
        std::atomic<int> seen{0};
    };
    auto& shared = *new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared;
    ForkedProcess process([&] {
        std::optional<Kernel> kernel(std::in_place, m_snapshot);
        long long time = 0;
        for (int round = 1; round <= kRounds; ++round) {
            kernel->writer.setWaitHook([&] { return shared.asked < round; });
            while (shared.asked < round) {
                kernel->send(time++);
            }
            kernel->writer.setWaitHook({});
            if (round % 3 == 0) {
                kernel.emplace(m_snapshot);
            } else {
                kernel->writer.restart();
            }
            shared.begun = round;
            time = changesIn(round);
            kernel->sendAll(0, time, static_cast<unsigned char>(round));
            while (shared.seen < round) {
                std::this_thread::yield();
            }
        }
        return true;
    });
    auto reader = follow(m_snapshot);
    Trees trees;
    reader->openByteTrees(0, 1, trees);
    for (int round = 1; round <= kRounds; ++round) {
        std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 4000));
        reader->restart();
        shared.asked = round;
        while (shared.begun < round) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 4000));
        reader->relaunchAfterRestart();
        const int changes = changesIn(round);
        while (reader->getLatestTime() < changes - 1 ||
               reader->getEventCount() < static_cast<unsigned long long>(changes)) {
            std::this_thread::yield();
        }
        ASSERT_EQ(reader->getEventCount(), changes) << "round " << round;
        ASSERT_EQ(liveHistory(*reader, *trees[0]), historyOf(0, 0, changes, round)) << round;
        shared.seen = round;
    }
    EXPECT_TRUE(process.succeeds());
    ::munmap(&shared, sizeof(Shared));
}

// The kernel closes as soon as it has sent, and opens the next channel in the same moment.
TEST_F(LiveRoad, aViewerHasTheWholeOfEachRunHoweverQuicklyTheNextOneBegins)
{
    constexpr int kRuns = 60;
    const auto changesOf = [](int run) { return 1 + run % 7; };
    ForkedProcess process([&] {
        std::optional<Kernel> kernel;
        for (int run = 0; run < kRuns; ++run) {
            kernel.emplace(m_snapshot);
            kernel->awaitViewer(std::this_thread::yield);
            for (int i = 0; i < changesOf(run); ++i) {
                kernel->send(run);
            }
        }
        return true;
    });
    int run = 0;
    while (run < kRuns) {
        auto reader = follow(m_snapshot, 0, "run.wdb");
        for (bool isLast = run % 2 == 0;;) {
            awaitEnd(*reader);
            ASSERT_EQ(reader->getEventCount(), changesOf(run)) << "run " << run;
            ++run;
            if (isLast || run == kRuns) {
                break;
            }
            isLast = true;
            while (!WdbLiveReader::isOffered(m_snapshot, 0)) {
                std::this_thread::yield();
            }
            reader->relaunchAfterRestart();
        }
    }
    EXPECT_TRUE(process.succeeds());
}

TEST_F(LiveRoad, changesThatTheFileHasNoPlaceForAreCountedAcrossRunsAndTheOthersStored)
{
    auto kernel = std::make_unique<Kernel>(m_snapshot);
    auto reader = follow(m_snapshot);
    ::testing::internal::CaptureStderr();
    unsigned char value = 1;
    for (int run = 1; run <= 2; ++run) {
        kernel->writer.getTraceScVirtualObjectFunc()(1, 1ull << 40, &value, 0, 1);
        kernel->send(2);
        kernel->writer.markCurrentTime(2);
        while (reader->getLatestTime() != 2) {
            pause();
        }
        EXPECT_EQ(reader->getRefusedCount(), run);
        reader->restart();
        kernel->writer.restart();
        reader->relaunchAfterRestart();
    }
    kernel.reset();
    reader.reset();
    const std::string lines = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(lines.find("a change at address 1099511627776 is left out"), std::string::npos);
}

// The name of the data file's directory is the snapshot where none was set.
TEST_F(LiveRoad, channelsAndSnapshotsStayApartAndADirectoryNamesItsSnapshot)
{
    const std::string other = "other" + std::to_string(::getpid());
    std::filesystem::create_directory(m_directory.path(other));
    const auto run = [](const std::string& snapshot, int channel, unsigned char offset) {
        return [=] {
            Kernel kernel(snapshot, channel);
            kernel.awaitViewer();
            kernel.sendAll(0, 5000, offset);
            return true;
        };
    };
    ForkedProcess kernels[] = {ForkedProcess(run(m_snapshot, 0, 10)),
                               ForkedProcess(run(m_snapshot, 1, 20)),
                               ForkedProcess(run(other, 0, 30))};
    auto first = follow(m_snapshot, 0, "0.wdb");
    auto second = follow(m_snapshot, 1, "1.wdb");
    while (!WdbLiveReader::isOffered(other, 0)) {
        pause();
    }
    std::unique_ptr<WdbIEventReader> third(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::LiveReader));
    third->setMemFileSize(4097);
    third->createReader(m_directory.path(other + "/2.wdb"), "run", 0, "");
    for (WdbIEventReader* const reader :
         {static_cast<WdbIEventReader*>(first.get()), static_cast<WdbIEventReader*>(second.get()),
          third.get()}) {
        awaitEnd(static_cast<WdbLiveReader&>(*reader));
    }
    for (ForkedProcess& kernel : kernels) {
        EXPECT_TRUE(kernel.succeeds());
    }
    first.reset();
    second.reset();
    third.reset();
    EXPECT_EQ(readHistory(filePath("0.wdb"), 4), historyOf(4, 0, 5000, 10));
    EXPECT_EQ(readHistory(filePath("1.wdb"), 4), historyOf(4, 0, 5000, 20));
    EXPECT_EQ(readHistory(filePath(other + "/2.wdb"), 4), historyOf(4, 0, 5000, 30));
    WdbFileManager file;
    file.open(filePath(other + "/2.wdb"));
    WdbEventDatabaseHeader header;
    file.getFileBlockManager().getBlock(WdbIEventBlockDatabase::getEventSection(file),
                                        reinterpret_cast<char*>(&header), sizeof header);
    EXPECT_EQ(header.m_numberOfBuckets, 3u);
    EXPECT_EQ(file.getApplication(), "Zelnix Simulator");
}

TEST_F(LiveRoad, withoutAChannelAReaderHasNothingAndNobodyWaits)
{
    WdbLiveReader reader;
    EXPECT_FALSE(reader.hasMoreData());
    reader.restart();
    reader.relaunchAfterRestart();
    reader.setMemFileSize(4096);
    EXPECT_EQ(openErrorOf([&] {
                  reader.createReader(filePath("no/run.wdb"), "run", 0, "");
              }).find("Cannot create simulation database file at: "),
              0u);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    reader.createReader(filePath(), "run", 0, "");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Could not open file mapping object (2).\n");
    ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(reader.isConnected() || reader.isKernelPresent() || reader.hasMoreData());
    EXPECT_TRUE(reader.isDrained());
    reader.restart();
    EXPECT_EQ(reader.getLatestTime(), 0);
}

} // namespace
} // namespace Tracewell
