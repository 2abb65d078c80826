#include "ChildProcess.h"

#include "../events/EventTestData.h"
#include "../support/ForkedProcess.h"

#include "WdbAddressBTreeManager.h"
#include "WdbStandAloneWriter.h"
#include "WdbStaticReader.h"

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

    RecordedRun(unsigned int seed, bool withFlushes) : m_random(seed), m_withFlushes(withFlushes) {}

    Step next()
    {
        Step step;
        step.event = {m_time++, below(m_random, kAddressSize - 40), ""};
        step.event.value = randomBytes(m_random, 1 + below(m_random, 40));
        if (below(m_random, 20) == 0)
            step.text = std::string(1 + below(m_random, 200), 't') + std::to_string(m_time);
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
        if (!step.text.empty())
            texts = writer.addString(step.text);
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

} // namespace

// A block holds the records of one bucket in order, so what a killed process leaves must be, bucket
// by bucket, the beginning of what it traced.
TEST_P(KilledRecorder, leavesTheBeginningOfEachBucketAndAllThatWasFlushed)
{
    // Blocks a bucket that may be missing: a node, what waits for compression, the open one.
    constexpr std::size_t kMissingBytes = 10240 * (100 + 512 + 1);
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
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
        while (progress.tracedEvents < eventsToLive)
            ASSERT_TRUE(recorder.isRunning());
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

// The import is watched from outside: what a reader has once seen was flushed, and must outlive the
// process.
TEST(KilledImport, keepsWhatAReaderHasSeen)
{
    constexpr long long kStep = 10;
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    ::signal(SIGPIPE, SIG_IGN);
    for (int round = 0; round < 3; ++round) {
        const TestDirectory directory;
        const std::string wdb = directory.path("run.wdb");
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        ForkedProcess import([&] {
            ::dup2(ends[0], STDIN_FILENO);
            ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
            ::execl(E2E_TRACEWELL, E2E_TRACEWELL, "import", "--sync", "0.01", "-", wdb.c_str(),
                    nullptr);
            return false;
        });
        ::close(ends[0]);
        const auto write = [&](const std::string& text) {
            for (std::size_t done = 0; done < text.size();) {
                const ssize_t count = ::write(ends[1], text.data() + done, text.size() - done);
                ASSERT_GT(count, 0);
                done += static_cast<std::size_t>(count);
            }
        };
        write("$timescale 1 ns $end\n$var reg 32 ! count [31:0] $end\n$enddefinitions $end\n");
        const long long timeToSee = kStep * (1 + below(random, 20000));
        long long seen = 0;
        for (unsigned int count = 0; seen < timeToSee && !HasFatalFailure(); ++count) {
            std::string text = "#" + std::to_string(kStep * count) + "\nb";
            for (int bit = 31; bit >= 0; --bit)
                text += (count >> bit & 1) != 0 ? '1' : '0';
            write(text + " !\n");
            if (count % 1000 != 0)
                continue;
            try {
                WdbStaticReader reader;
                reader.createReader("", wdb, 0, directory.path(""));
                seen = reader.getLatestTime();
            } catch (const Qsim::Exception&) {
                // Not there yet.
            }
        }
        import.kill();
        ::close(ends[1]);

        WdbStaticReader reader;
        reader.createReader("", wdb, 0, directory.path(""));
        ASSERT_GE(reader.getLatestTime(), seen);
        std::vector<WdbScalarBTree*> trees;
        std::vector<WdbScalarBTree*> toScan;
        reader.getBTreeManager().getOrCreateByteBTrees(0, 4, trees, toScan);
        reader.getBTreeManager().scanWdbDatabase(toScan, nullptr);
        for (long long time = 0; time <= seen; time += kStep) {
            WdbTimeByteValues values(4);
            reader.getValueEvent(time, trees, values);
            unsigned int count = 0;
            for (unsigned int byte = 0; byte < 4; ++byte)
                count |= static_cast<unsigned int>(values.getValueAt(byte).getValue())
                         << (8 * byte);
            ASSERT_EQ(count, time / kStep);
        }
    }
}

} // namespace Tracewell
