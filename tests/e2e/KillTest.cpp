#include "ChildProcess.h"
#include "RecordedRun.h"

#include "../support/TestFiles.h"
#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"
#include "WdbIEventBlockDatabase.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace Tracewell {

namespace {

unsigned int newSeed()
{
    const char* const given = std::getenv("TRACEWELL_SEED");
    return given ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                 : std::random_device{}();
}

/// The progress of a recorder, in a file that both processes map.
class SharedProgress
{
public:
    explicit SharedProgress(const std::string& path)
    {
        writeFile(path, std::string(sizeof(RunProgress), '\0'));
        const int file = ::open(path.c_str(), O_RDWR);
        m_memory =
            ::mmap(nullptr, sizeof(RunProgress), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        EXPECT_NE(m_memory, MAP_FAILED);
    }
    SharedProgress(const SharedProgress&) = delete;
    SharedProgress& operator=(const SharedProgress&) = delete;
    ~SharedProgress() { ::munmap(m_memory, sizeof(RunProgress)); }

    const RunProgress& operator*() const { return *static_cast<const RunProgress*>(m_memory); }
    const RunProgress* operator->() const { return &**this; }

private:
    void* m_memory = nullptr;
};

struct Piece
{
    long long time;
    long long address;
    std::vector<unsigned char> value;

    bool operator==(const Piece& other) const
    {
        return time == other.time && address == other.address && value == other.value;
    }
};

/// The pieces of all steps up to `lastTime`, bucket by bucket.
std::vector<std::vector<Piece>> expectedPieces(RecordedRun run, long long lastTime)
{
    constexpr long long kDivision = RecordedRun::kDivision;
    std::vector<std::vector<Piece>> buckets(
        static_cast<std::size_t>((RecordedRun::kAddressSize + kDivision - 1) / kDivision));
    for (RecordedRun::Step step = run.next(); step.time <= lastTime; step = run.next()) {
        auto from = step.value.begin();
        long long address = step.address;
        while (from != step.value.end()) {
            const long long room = kDivision - address % kDivision;
            const auto to = from + std::min<long long>(room, step.value.end() - from);
            buckets[static_cast<std::size_t>(address / kDivision)].push_back(
                {step.time, address, std::vector<unsigned char>(from, to)});
            address += to - from;
            from = to;
        }
    }
    return buckets;
}

/// The pieces that a file lists, and the end of the latest of its blocks.
std::vector<std::vector<Piece>> listedPieces(const std::string& path, long long& lastTime)
{
    WdbFileManager manager;
    manager.open(path);
    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(
            WdbIEventBlockDatabase::getEventDatabaseTypeId(manager), manager));
    database->initialize(WdbIEventBlockDatabase::getEventSection(manager), false);
    std::vector<std::vector<Piece>> buckets(database->getEventDatabaseHeader().m_numberOfBuckets);
    WdbEventBlock block(database->getEventDatabaseHeader().m_maxEventBlockSize, 0);
    lastTime = 0;
    for (const auto& iterator : database->getAllEventBlockDatabaseIterator()) {
        for (; *iterator; ++*iterator) {
            iterator->getEventBlock(block);
            lastTime = std::max(lastTime, block.getStartTime() + block.getTimeLength());
            for (auto event = block.getIterator(); event; ++event) {
                const long long address = (*event).getStartAddress();
                const unsigned char* const value = (*event).getValue();
                buckets[static_cast<std::size_t>(address / RecordedRun::kDivision)].push_back(
                    {(*event).getTime(), address,
                     std::vector<unsigned char>(value, value + (*event).getValuelength())});
            }
        }
    }
    EXPECT_EQ(database->getLatestTime(), lastTime);
    database.reset();
    manager.close();
    return buckets;
}

std::unique_ptr<WdbIEventReader> openReader(const std::string& path, const TestDirectory& directory)
{
    std::unique_ptr<WdbIEventReader> reader(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    reader->createReader("", path, 0, directory.path(""));
    return reader;
}

void expectTexts(WdbIEventReader& reader, RecordedRun run, long long count)
{
    for (long long id = 0; id < count;) {
        const std::string text = run.next().text;
        if (!text.empty()) {
            ASSERT_EQ(reader.getStringMapValue(++id), text);
        }
    }
}

class KilledRecorder : public ::testing::TestWithParam<bool>
{};

} // namespace

// A block holds the records of one bucket in order, so what a killed process leaves must be, bucket
// by bucket, the beginning of what it traced.
TEST_P(KilledRecorder, leavesTheBeginningOfEachBucketAndAllThatWasFlushed)
{
    constexpr int kRounds = 8;
    // Blocks a bucket that may be missing: a node, what waits for compression, the open one.
    constexpr long long kMissingBytes = 10240LL * (100 + 512 + 1);
    const bool withFlushes = GetParam();
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < kRounds; ++round) {
        const TestDirectory directory;
        const SharedProgress progress(directory.path("progress"));
        const auto runSeed = static_cast<unsigned int>(random() % 1000000);
        // Every other run is long enough to have filled list nodes.
        const bool isLong = round % 2 != 0;
        const auto eventsToLive =
            static_cast<long long>(1 + random() % 20000 + (isLong ? 300000 : 0));
        {
            RunningProgram recorder({E2E_RECORDER, directory.path("run.wdb"),
                                     directory.path("progress"), std::to_string(runSeed),
                                     withFlushes ? "1" : "0"},
                                    directory.path(""), false);
            while (progress->tracedEvents < eventsToLive)
                ASSERT_TRUE(recorder.isRunning());
            recorder.kill();
        }

        const RecordedRun run(runSeed, withFlushes);
        const long long saved = progress->savedEvents;
        const auto expected = expectedPieces(run, progress->tracedEvents + 1);
        long long lastTime = 0;
        const auto listed = listedPieces(directory.path("run.wdb"), lastTime);
        ASSERT_EQ(listed.size(), expected.size());
        EXPECT_GE(lastTime, saved);
        for (std::size_t bucket = 0; bucket < listed.size(); ++bucket) {
            ASSERT_LE(listed[bucket].size(), expected[bucket].size());
            ASSERT_TRUE(
                std::equal(listed[bucket].begin(), listed[bucket].end(), expected[bucket].begin()))
                << "bucket " << bucket;
            long long missingBytes = 0;
            for (std::size_t i = listed[bucket].size(); i < expected[bucket].size(); ++i) {
                ASSERT_GT(expected[bucket][i].time, saved) << "bucket " << bucket;
                missingBytes += 16 + static_cast<long long>(expected[bucket][i].value.size());
            }
            EXPECT_LE(missingBytes, kMissingBytes);
            EXPECT_TRUE(!isLong || !listed[bucket].empty());
        }
        const auto reader = openReader(directory.path("run.wdb"), directory);
        EXPECT_EQ(reader->getLatestTime(), lastTime);
        expectTexts(*reader, run, progress->savedTexts);
    }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutFlushes, KilledRecorder, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "flushes" : "noFlush"; });

// The import is watched from outside: what a reader has once seen was flushed, and must outlive the
// process.
TEST(KilledImport, keepsWhatAReaderHasSeen)
{
    constexpr long long kStep = 10;
    constexpr int kRounds = 3;
    const unsigned int seed = newSeed();
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < kRounds; ++round) {
        const TestDirectory directory;
        const std::string wdb = directory.path("run.wdb");
        RunningProgram import({E2E_TRACEWELL, "import", "--sync", "0.01", "-", wdb},
                              directory.path(""), true);
        ASSERT_TRUE(import.write("$timescale 1 ns $end\n$var reg 32 ! count [31:0] $end\n"
                                 "$enddefinitions $end\n"));
        const long long timeToSee = kStep * static_cast<long long>(1 + random() % 20000);
        long long seen = 0;
        for (unsigned int count = 0; seen < timeToSee; ++count) {
            std::string text = "#" + std::to_string(kStep * count) + "\nb";
            for (int bit = 31; bit >= 0; --bit)
                text += (count >> bit & 1) != 0 ? '1' : '0';
            ASSERT_TRUE(import.write(text + " !\n"));
            if (count % 1000 != 0)
                continue;
            try {
                seen = openReader(wdb, directory)->getLatestTime();
            } catch (const Qsim::Exception&) {
                // Not there yet.
            }
        }
        import.kill();

        const auto reader = openReader(wdb, directory);
        ASSERT_GE(reader->getLatestTime(), seen);
        std::vector<WdbScalarBTree*> trees;
        std::vector<WdbScalarBTree*> toScan;
        reader->getBTreeManager().getOrCreateByteBTrees(0, 4, trees, toScan);
        reader->getBTreeManager().scanWdbDatabase(toScan, nullptr);
        for (long long time = 0; time <= seen; time += kStep) {
            WdbTimeByteValues values(4);
            reader->getValueEvent(time, trees, values);
            unsigned int count = 0;
            for (unsigned int byte = 0; byte < 4; ++byte)
                count |= static_cast<unsigned int>(values.getValueAt(byte).getValue())
                         << (8 * byte);
            ASSERT_EQ(count, time / kStep);
        }
    }
}

} // namespace Tracewell
