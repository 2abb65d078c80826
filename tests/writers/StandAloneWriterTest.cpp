#include "../query/TreeHistory.h"
#include "../support/TestFiles.h"

#include "OutputFileNames.h"
#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbMultipleBucketEventDatabase.h"
#include "WdbStandAloneWriter.h"
#include "WdbStaticReader.h"
#include "WdbStringMapDatabase.h"
#include "WriterFactory.h"

#include <array>
#include <cstring>
#include <functional>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

namespace Tracewell {
namespace {

std::vector<std::string> listSections(const std::string& path)
{
    WdbFileManager file;
    file.open(path);
    std::vector<std::string> sections;
    for (auto entry = file.getTableOfContent()->begin(); entry; ++entry) {
        WdbTableOfContentItem item;
        item.loadBlock(entry.getHandle(), entry.getSize(), file.getFileBlockManager());
        sections.emplace_back(item.m_sectionId);
    }
    return sections;
}

/// The histories of `count` bytes from `address` on.
std::vector<History> readHistories(const std::string& path, long long address, long long count,
                                   long long* latestTime = nullptr)
{
    WdbStaticReader reader;
    reader.createReader("", path, 0, "");
    std::vector<WdbScalarBTree*> trees;
    std::vector<WdbScalarBTree*> toScan;
    reader.getBTreeManager().getOrCreateByteBTrees(address, count, trees, toScan);
    reader.getBTreeManager().scanWdbDatabase(toScan, nullptr);
    std::vector<History> histories;
    for (const WdbScalarBTree* const tree : trees)
        histories.push_back(getHistory(*tree));
    if (latestTime)
        *latestTime = reader.getLatestTime();
    return histories;
}

/// Runs `work` in a process of its own, which ends by _exit(0) behind it.
int runInChild(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

class StandAloneWriter : public ::testing::Test
{
protected:
    StandAloneWriter()
    {
        m_writer.setBaseDPOffset(
            static_cast<long long>(reinterpret_cast<std::uintptr_t>(&m_memory)));
        m_writer.setAddressSize(sizeof m_memory);
        m_writer.setBucketDivision(64);
    }

    void open(const std::string& snapshot = "")
    {
        m_writer.open(IWdbWriter::kPostMode, snapshot, m_fileName, 3);
    }
    void traceByte(long long time, std::size_t place, unsigned char value)
    {
        m_writer.getTraceVhdlFunc()(time, 99, 1, &m_memory[place], &value);
    }

    TestDirectory m_directory;
    const std::string m_fileName = m_directory.path("run.wdb");
    std::array<unsigned char, 2000> m_memory{};
    WdbStandAloneWriter m_writer;
};

TEST_F(StandAloneWriter, everyTraceFunctionComesBackFromTheFile)
{
    const auto traceVlog = m_writer.getTraceVlogFunc();
    open();
    std::array<unsigned char, 16> value{};
    value.fill(0xff);
    m_memory[201] = 0x30;
    m_writer.getTraceVhdlFunc()(1, 0, 3, &m_memory[10], value.data());
    m_writer.getTraceVhdlFuncScalar()(2, 0, 1, value.data());
    traceVlog(3, 0, 5, &m_memory[200], value.data(), 3, 5);
    traceVlog(4, 0, 5, &m_memory[200], value.data(), 30, 34);
    traceVlog(5, 0, 5, &m_memory[200], value.data(), 32, 64);
    traceVlog(6, 0, 5, &m_memory[200], value.data(), 7, 7);
    traceVlog(6, 0, 5, &m_memory[200], value.data(), 7, 3);
    m_writer.getTraceScObjectFunc()(10, 400, &m_memory[200], value.data(), 0, 8);
    m_writer.getTraceScObjectFunc()(11, 400, &m_memory[200], value.data(), 5, 0xFFFFFFFFu);
    m_writer.getTraceScVirtualObjectFunc()(12, 500, value.data(), 60, 10);
    m_writer.markCurrentTime(20);
    m_writer.close();

    long long latestTime = 0;
    const auto histories = readHistories(m_fileName, 0, 600, &latestTime);
    EXPECT_EQ(latestTime, 20);
    std::vector<History> expected(600);
    for (const std::size_t place : {10, 11, 12})
        expected[place] = {{1, 0xff}};
    for (std::size_t place = 200; place < 216; ++place)
        expected[place] = {{place < 208 ? 3 : 4, 0}};
    expected[200] = {{3, 0x18}, {4, 0}};
    expected[204] = {{3, 0x18}, {4, 0}};
    expected[201] = {{3, 0x30}};
    for (const std::size_t place : {203, 207})
        expected[place].push_back({4, 0xc0});
    for (const std::size_t place : {208, 212})
        expected[place] = {{4, 3}, {5, 0xff}};
    for (const std::size_t place : {209, 210, 211, 213, 214, 215})
        expected[place].push_back({5, 0xff});
    for (std::size_t place = 400; place < 408; ++place)
        expected[place] = {{10, place == 401 ? 0x30 : place % 4 == 0 ? 0xff : 0}};
    for (std::size_t place = 560; place < 570; ++place)
        expected[place] = {{12, 0xff}};
    for (std::size_t place = 0; place < expected.size(); ++place)
        EXPECT_EQ(histories[place], expected[place]) << place;
}

TEST_F(StandAloneWriter, hugeVectorsAreWholeAndLeaveTheNextOnesSound)
{
    open();
    const auto traceVlog = m_writer.getTraceVlogFunc();
    std::vector<unsigned char> value(1608, 0x5a);
    traceVlog(1, 0, 5, &m_memory[0], value.data(), 1, 1600 * 4);
    traceVlog(2, 0, 5, &m_memory[8], value.data(), 1, 4);
    m_writer.close();
    const auto histories = readHistories(m_fileName, 0, 1608);
    EXPECT_EQ(histories[0], (History{{1, 0xb4}}));
    EXPECT_EQ(histories[1], (History{{1, 0xb4}}));
    EXPECT_EQ(histories[8], (History{{1, 0xb4}, {2, 4}}));
    EXPECT_EQ(histories[1599], (History{{1, 0xb4}}));
    EXPECT_EQ(histories[1600], (History{}));
}

TEST_F(StandAloneWriter, sectionsAreTheEventsTheTextsAndTheFilesOfTheSnapshotIfThere)
{
    open();
    m_writer.close();
    EXPECT_EQ(listSections(m_fileName), (std::vector<std::string>{"WDB.Event", "WDB.StringMap"}));

    const std::string dump = m_directory.path("zsim.dir");
    std::filesystem::create_directories(dump + "/work.top");
    ZSIM::OutputFileNames::setZSimDirLocation(dump.c_str());
    writeFile(ZSIM::OutputFileNames::getDbgPathName("work.top"), "debug");
    writeFile(ZSIM::OutputFileNames::getRTTIPathName("work.top"), "types");
    m_writer.setApplication("early");
    open("zsim.dir/work.top/zsimk");
    m_writer.close();
    EXPECT_EQ(listSections(m_fileName), (std::vector<std::string>{"Zelnix DBG", "Zelnix RTTI",
                                                                  "WDB.Event", "WDB.StringMap"}));
    WdbFileManager file;
    file.open(m_fileName);
    EXPECT_EQ(file.getApplication(), "early");
}

TEST_F(StandAloneWriter, closedItDoesNothingAndItOpensAgain)
{
    EXPECT_EQ(m_writer.addString("text"), -1);
    traceByte(1, 0, 1);
    m_writer.markCurrentTime(5);
    m_writer.flush();
    m_writer.close();
    EXPECT_FALSE(std::filesystem::exists(m_fileName));
    EXPECT_THROW(m_writer.open(IWdbWriter::kDefaultMode, "", m_directory.path("no/where"), 0),
                 Qsim::OpenException);
    m_writer.setAddressSize(std::numeric_limits<long long>::max());
    EXPECT_THROW(open(), Qsim::OpenException);
    traceByte(1, 0, 1);
    EXPECT_EQ(m_writer.addString("text"), -1);

    m_writer.setAddressSize(sizeof m_memory);
    m_writer.setBucketDivision(0);
    open();
    EXPECT_EQ(m_writer.addString("text"), 1);
    traceByte(1, 0, 1);
    const std::string other = m_directory.path("other.wdb");
    m_writer.open(IWdbWriter::kDefaultMode, "", other, 0);
    EXPECT_EQ(m_writer.addString("another"), 1) << "ids start anew";
    traceByte(2, 0, 2);
    m_writer.close();
    EXPECT_EQ(readHistories(m_fileName, 0, 1), (std::vector<History>{{{1, 1}}}));
    EXPECT_EQ(readHistories(other, 0, 1), (std::vector<History>{{{2, 2}}}));
    WdbFileManager file;
    file.open(other);
    WdbEventDatabaseHeader header;
    file.getFileBlockManager().getBlock(WdbIEventBlockDatabase::getEventSection(file),
                                        reinterpret_cast<char*>(&header), sizeof header);
    EXPECT_EQ(header.m_bucketDivision, 2048u);
}

TEST_F(StandAloneWriter, emptyNameIsTheStandardName)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.path(""));
    m_writer.open(IWdbWriter::kDefaultMode, "", "", 0);
    std::filesystem::current_path(before);
    m_writer.close();
    EXPECT_TRUE(std::filesystem::exists(m_directory.path("zsim.wdb")));
}

/// Random events, times, texts, and sometimes the latest time, the same for one seed.
template <class Event, class Text> void produce(unsigned int seed, Event event, Text text)
{
    std::mt19937 random(seed);
    long long time = 0;
    for (int i = 0; i < 40000; ++i) {
        time += random() % 4 == 0 ? random() % 10 : 0;
        std::array<unsigned char, 300> value{};
        const unsigned int length = random() % 300 == 0 ? 300 : 1 + random() % 8;
        for (unsigned int byte = 0; byte < length; ++byte)
            value[byte] = static_cast<unsigned char>(random() % 3 == 0 ? random() : 0);
        event(time, random() % 1700, length, value.data());
        if (random() % 50 == 0)
            text("text " + std::to_string(random()));
    }
}

TEST_F(StandAloneWriter, fileIsTheOneWithoutHelperThreadsByteForByte)
{
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(seed);
        const bool filter = seed != 3;
        m_writer.setFilterRepeatedValue(filter);
        open();
        const auto trace = m_writer.getTraceVhdlFunc();
        produce(
            seed,
            [&](long long time, std::size_t place, unsigned int length, unsigned char* value) {
                trace(time, 0, length, &m_memory[place], value);
            },
            [&](const std::string& text) { m_writer.addString(text); });
        m_writer.close();

        const std::string plainName = m_directory.path("plain.wdb");
        WdbFileManager file;
        file.create(plainName);
        auto events = std::make_unique<WdbMultipleBucketEventDatabase>(1001, file);
        events->setFilterRepeatedValue(filter);
        events->initialize(
            WdbIEventBlockDatabase::createEventSection(1001, 2000 / 64 + 1, 2000, 64, file), true);
        auto strings = std::make_unique<WdbStringMapDatabase>(file);
        strings->initialize(WdbStringMapDatabase::createStringMapSection(101, file, true), true);
        produce(
            seed,
            [&](long long time, long long place, unsigned int length, const unsigned char* value) {
                events->writeEvent(time, place, length, value);
            },
            [&](const std::string& text) { strings->addString(text); });
        events.reset();
        strings.reset();
        file.close();

        std::string plain = readFile(plainName);
        std::string helped = readFile(m_fileName);
        ASSERT_GT(plain.size(), 100000u);
        plain.replace(56, 4, "time");
        helped.replace(56, 4, "time");
        EXPECT_TRUE(plain == helped);
    }
}

TEST_F(StandAloneWriter, whatWasFlushedSurvivesTheProcess)
{
    for (const bool flushed : {true, false}) {
        SCOPED_TRACE(flushed);
        const int status = runInChild([&] {
            open();
            for (int time = 0; time < 3000; ++time)
                traceByte(time, static_cast<std::size_t>(time % 700),
                          static_cast<unsigned char>(time / 700));
            m_writer.addString("text");
            if (flushed)
                m_writer.flush();
            for (int time = 3000; time < 3100; ++time)
                traceByte(time, 0, static_cast<unsigned char>(time));
        });
        ASSERT_EQ(status, 0);
        long long latestTime = -1;
        const auto histories = readHistories(m_fileName, 0, 700, &latestTime);
        EXPECT_EQ(latestTime, flushed ? 2999 : 0);
        for (int place = 0; place < 700; ++place) {
            History expected;
            for (int time = place; flushed && time < 3000; time += 700)
                expected.emplace_back(time, time / 700);
            EXPECT_EQ(histories[static_cast<std::size_t>(place)], expected) << place;
        }
        WdbStaticReader reader;
        reader.createReader("", m_fileName, 0, "");
        EXPECT_EQ(reader.getStringMapValue(1), flushed ? "text" : "");
    }
}

TEST_F(StandAloneWriter, goesOnAfterAFlush)
{
    open();
    for (int time = 0; time < 10; ++time) {
        traceByte(time, 5, static_cast<unsigned char>(time));
        m_writer.flush();
        EXPECT_EQ(readHistories(m_fileName, 5, 1)[0].size(), static_cast<std::size_t>(time + 1));
    }
    m_writer.close();
    EXPECT_EQ(readHistories(m_fileName, 5, 1)[0].size(), 10u);
}

TEST_F(StandAloneWriter, traceFunctionsGoToTheWriterBuiltLast)
{
    open();
    {
        WdbStandAloneWriter last;
        traceByte(1, 0, 1);
        auto* const first = new WdbStandAloneWriter;
        WdbStandAloneWriter second;
        delete first;
        traceByte(2, 0, 2);
    }
    traceByte(3, 0, 3);
    m_writer.close();
    EXPECT_EQ(readHistories(m_fileName, 0, 1), (std::vector<History>{{{3, 3}}}));
}

TEST_F(StandAloneWriter, libraryWritersCompleteTheirFileAtExit)
{
    IWdbWriter& factoryWriter = WriterFactory::getWdbWriter();
    ASSERT_NE(&factoryWriter, qtracewell_getStandAloneWdbWriter());
    EXPECT_EQ(runInChild([&] {
                  factoryWriter.setAddressSize(100);
                  factoryWriter.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
                  unsigned char value = 7;
                  factoryWriter.getTraceScVirtualObjectFunc()(1, 2, &value, 3, 1);
                  factoryWriter.markCurrentTime(50);
                  std::exit(0);
              }),
              0);
    long long latestTime = 0;
    EXPECT_EQ(readHistories(m_fileName, 5, 1, &latestTime), (std::vector<History>{{{1, 7}}}));
    EXPECT_EQ(latestTime, 50);
}

} // namespace
} // namespace Tracewell
