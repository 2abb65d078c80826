// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"
#include "testing/Seed.h"

#include "testing/EventTestData.h"
#include "testing/ForkedProcess.h"

#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbColumnReader.h"
#include "WdbFileManager.h"
#include "WdbStandAloneWriter.h"
#include "WdbStaticReader.h"
#include "WdbWholeMark.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>

namespace Tracewell {

namespace {

constexpr unsigned int kDivision = 400;
constexpr unsigned int kAddressSize = 1000;

unsigned int newSeed()
{
    const char* const given = std::getenv("TRACEWELL_SEED");
    return given ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                 : std::random_device{}();
}

/// The endless run of a recording process, told again by the same seed. Event n has time n, so no
/// two events are repeats of one another.
class RecordedRun
{
public:
    struct Step
    {
        TestEvent event;
        /// A text to be added before the event, or empty.
        std::string text;
        /// A flush follows.
        bool flush = false;
    };

    RecordedRun(unsigned int seed, bool withFlushes)
        : m_random(Tracewell::seeded(seed)), m_withFlushes(withFlushes)
    {}

    Step next()
    {
        Step step;
        step.event = {m_time++, below(m_random, kAddressSize - 40), ""};
        step.event.value = randomBytes(m_random, 1 + below(m_random, 40));
        if (below(m_random, 20) == 0) {
            step.text = std::string(1 + below(m_random, 200), 't') + std::to_string(m_time);
        }
        step.flush = below(m_random, 3000) == 0 && m_withFlushes;
        return step;
    }

private:
    std::mt19937 m_random;
    bool m_withFlushes;
    long long m_time = 1;
};

/// What a recording process has done so far.
struct Progress
{
    std::atomic<long long> tracedEvents;
    /// What stood before the last flush that has returned.
    std::atomic<long long> savedEvents;
    std::atomic<long long> savedTexts;
};

[[noreturn]] void record(const std::string& path, RecordedRun run, Progress& progress)
{
    WdbStandAloneWriter writer;
    writer.setAddressSize(kAddressSize);
    writer.setBucketDivision(kDivision);
    writer.open(IWdbWriter::kDefaultMode, "", path, 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();
    for (long long texts = 0;;) {
        RecordedRun::Step step = run.next();
        if (!step.text.empty()) {
            texts = writer.addString(step.text);
        }
        trace(step.event.time, 0, reinterpret_cast<unsigned char*>(step.event.value.data()),
              static_cast<unsigned int>(step.event.address),
              static_cast<unsigned int>(step.event.value.size()));
        progress.tracedEvents = step.event.time;
        if (step.flush) {
            writer.flush();
            progress.savedTexts = texts;
            progress.savedEvents = step.event.time;
        }
    }
}

/// Lists of pieces of events, by bucket.
using Buckets = std::vector<std::vector<TestEvent>>;

Buckets piecesUpTo(RecordedRun run, long long lastTime)
{
    Buckets buckets((kAddressSize + kDivision - 1) / kDivision);
    for (TestEvent event = run.next().event; event.time <= lastTime; event = run.next().event) {
        while (!event.value.empty()) {
            const auto room = static_cast<std::size_t>(kDivision - event.address % kDivision);
            const TestEvent piece{event.time, event.address, event.value.substr(0, room)};
            buckets[static_cast<std::size_t>(event.address) / kDivision].push_back(piece);
            event.address += static_cast<long long>(piece.value.size());
            event.value.erase(0, piece.value.size());
        }
    }
    return buckets;
}

Buckets listedPieces(const std::string& path, long long& lastTime)
{
    WdbFileManager files;
    files.open(path);
    const auto database = openDatabase(files);
    Buckets buckets(database->getEventDatabaseHeader().m_numberOfBuckets);
    lastTime = 0;
    for (TestEvent& event : eventsOf(*database)) {
        lastTime = std::max(lastTime, event.time);
        buckets.at(static_cast<std::size_t>(event.address) / kDivision).push_back(std::move(event));
    }
    EXPECT_EQ(database->getLatestTime(), lastTime);
    return buckets;
}

class KilledRecorder : public ::testing::TestWithParam<bool>
{};

// A block holds the records of one bucket in order, so what a killed process leaves must be, bucket
// by bucket, the beginning of what it traced.
TEST_P(KilledRecorder, leavesTheBeginningOfEachBucketAndAllThatWasFlushed)
{
    // Blocks a bucket that may be missing: a node, what waits for compression, the open one.
    constexpr std::size_t kMissingBytes = 10240 * (100 + 512 + 1);
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(Tracewell::seeded(seed));
    for (int round = 0; round < 8; ++round) {
        const TestDirectory directory;
        const std::string path = directory.path("run.wdb");
        const RecordedRun run(below(random, 1000000), GetParam());
        // Every other run is long enough to have filled list nodes.
        const bool isLong = round % 2 != 0;
        const long long eventsToLive = 1 + below(random, 20000) + (isLong ? 300000 : 0);
        void* const shared = ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        Progress& progress = *new (shared) Progress{};
        ForkedProcess recorder([&]() -> bool { record(path, run, progress); });
        while (progress.tracedEvents < eventsToLive) {
            ASSERT_TRUE(recorder.isRunning());
        }
        recorder.kill();

        const long long saved = progress.savedEvents;
        const Buckets expected = piecesUpTo(run, progress.tracedEvents + 1);
        long long lastTime = 0;
        const Buckets listed = listedPieces(path, lastTime);
        ASSERT_EQ(listed.size(), expected.size());
        EXPECT_GE(lastTime, saved);
        for (std::size_t bucket = 0; bucket < listed.size(); ++bucket) {
            SCOPED_TRACE(bucket);
            ASSERT_LE(listed[bucket].size(), expected[bucket].size());
            ASSERT_TRUE(
                std::equal(listed[bucket].begin(), listed[bucket].end(), expected[bucket].begin()));
            std::size_t missingBytes = 0;
            for (std::size_t i = listed[bucket].size(); i < expected[bucket].size(); ++i) {
                ASSERT_GT(expected[bucket][i].time, saved);
                missingBytes += 16 + expected[bucket][i].value.size();
            }
            EXPECT_LE(missingBytes, kMissingBytes);
            EXPECT_TRUE(!isLong || !listed[bucket].empty());
        }
        WdbStaticReader reader;
        reader.createReader("", path, 0, directory.path(""));
        EXPECT_EQ(reader.getLatestTime(), lastTime);
        RecordedRun again = run;
        for (long long id = 0; id < progress.savedTexts;) {
            const std::string text = again.next().text;
            if (!text.empty()) {
                ASSERT_EQ(reader.getStringMapValue(++id), text);
            }
        }
        ::munmap(shared, sizeof(Progress));
    }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutFlushes, KilledRecorder, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "flushes" : "noFlush"; });

/// A wide vector in two buckets, one whose letters are a text, and a string, which all tell the
/// same number.
std::string stepOf(unsigned int number)
{
    std::string bits;
    for (int bit = 31; bit >= 0; --bit) {
        bits += (number >> bit & 1) != 0 ? '1' : '0';
    }
    return "#" + std::to_string(10 * number) + "\nb" + bits + bits + " v\nbu" + bits + " n\nst" +
           std::to_string(number) + " s\n";
}

class KilledImport : public ::testing::TestWithParam<const char*>
{};

// What is shown of a recording that was never closed is what was, up to a time that is no older
// than the last sync.
TEST_P(KilledImport, isReadUpToItsMarkAsTheRunWas)
{
    const bool isIndexed = GetParam() == std::string("indexed");
    const bool isColumns = GetParam() == std::string("columns");
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(Tracewell::seeded(seed));
    ::signal(SIGPIPE, SIG_IGN);
    std::string head = "$timescale 1 ns $end\n";
    // The vector crosses a border all the same.
    for (int i = 0; isIndexed && i < 255; ++i) {
        head += "$var reg 32 f" + std::to_string(i) + " f" + std::to_string(i) + " $end\n";
    }
    head += "$var reg 64 v v $end\n$var reg 33 n n $end\n$var string 1 s s $end\n"
            "$enddefinitions $end\n";
    for (int round = 0; round < 3; ++round) {
        const TestDirectory directory;
        const std::string wdb = directory.path("run.wdb");
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        ForkedProcess import([&] {
            ::dup2(ends[0], STDIN_FILENO);
            ::execl(E2E_TRACEWELL, E2E_TRACEWELL, "import", "--sync", "0.01", "-", wdb.c_str(),
                    "--store", GetParam(), isIndexed || isColumns ? nullptr : "--division", "8",
                    nullptr);
            return false;
        });
        ::close(ends[0]);
        std::string text;
        const auto write = [&](const std::string& part) {
            text += part;
            for (std::size_t done = 0; done < part.size();) {
                const ssize_t count = ::write(ends[1], part.data() + done, part.size() - done);
                ASSERT_GT(count, 0);
                done += static_cast<std::size_t>(count);
            }
        };
        write(head);
        const auto mark = [&] {
            if (isColumns) {
                WdbColumnReader reader;
                try {
                    reader.open(wdb);
                    return reader.getWholeTime();
                } catch (const Qsim::Exception&) {
                    return -1LL; // Not there yet.
                }
            }
            WdbFileManager file;
            long long time = -1;
            try {
                file.open(wdb);
            } catch (const Qsim::Exception&) {
                return time; // Not there yet.
            }
            return WdbWholeMark::find(file, time) ? time : -1;
        };
        const long long timeToSee = 10 * (1 + below(random, 5000));
        long long seen = -1;
        for (unsigned int number = 0; seen < timeToSee && !HasFatalFailure(); number += 100) {
            std::string steps;
            for (unsigned int i = 0; i < 100; ++i) {
                steps += stepOf(number + i);
            }
            write(steps);
            seen = mark();
        }
        import.kill();
        ::close(ends[1]);

        const std::string upTo = std::to_string(mark());
        ASSERT_GE(mark(), std::max(seen, timeToSee));
        writeFile(directory.path("full.vcd"), text);
        const auto run = [&](const std::vector<std::string>& arguments) {
            std::vector<std::string> command = {E2E_TRACEWELL};
            command.insert(command.end(), arguments.begin(), arguments.end());
            return runProgram(command, directory.path(""));
        };
        const Outcome difference = run({"diff", wdb, directory.path("full.vcd"), "--to", upTo});
        EXPECT_EQ(difference.out, "") << difference.err;
        EXPECT_NE(difference.err.find("never closed"), std::string::npos) << difference.describe();
        const Outcome exported = run({"export", wdb, "-"});
        ASSERT_NE(exported.out, "") << exported.describe();
        EXPECT_EQ(exported.out.substr(exported.out.rfind('#')), "#" + upTo + "\n");
        EXPECT_EQ(exported.exitCode(), exported.err.find("left out") != std::string::npos ? 1 : 0);
        EXPECT_EQ(run({"export", "--beyond", wdb, "-"}).exitCode(), 0);
        EXPECT_EQ(run({"verify", wdb}).exitCode(), 0);
        // A kill between two sections leaves no recording without its mark.
        const std::string facts = run({"info", wdb}).out;
        EXPECT_TRUE(isColumns || facts.find("\nTracewell Mark") < facts.find("\nWDB.Event"));
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, KilledImport, ::testing::Values("events", "indexed", "columns"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace

} // namespace Tracewell
