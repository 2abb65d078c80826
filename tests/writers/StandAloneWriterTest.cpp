#include "../query/TestEvents.h"
#include "../support/TestFiles.h"

#include "OutputFileNames.h"
#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
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

std::string listSections(const std::string& path)
{
    WdbFileManager file;
    file.open(path);
    std::string names;
    for (auto entry = file.getTableOfContent()->begin(); entry; ++entry) {
        WdbTableOfContentItem item;
        item.loadBlock(entry.getHandle(), entry.getSize(), file.getFileBlockManager());
        names += item.m_sectionId + std::string(" ");
    }
    return names;
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
    std::vector<unsigned char> value(1600, 0xff);
    m_memory[201] = 0x30;
    m_writer.getTraceVhdlFunc()(1, 0, 3, &m_memory[10], value.data());
    m_writer.getTraceVhdlFuncScalar()(2, 0, 1, value.data());
    traceVlog(3, 0, 5, &m_memory[200], value.data(), 3, 5);
    traceVlog(4, 0, 5, &m_memory[200], value.data(), 30, 34);
    traceVlog(5, 0, 5, &m_memory[200], value.data(), 32, 64);
    traceVlog(6, 0, 5, &m_memory[200], value.data(), 7, 7);
    traceVlog(6, 0, 5, &m_memory[200], value.data(), 7, 3);
    m_writer.getTraceScObjectFunc()(10, 250, &m_memory[200], value.data(), 0, 8);
    m_writer.getTraceScObjectFunc()(11, 250, &m_memory[200], value.data(), 5, 0xFFFFFFFFu);
    m_writer.getTraceScVirtualObjectFunc()(12, 270, value.data(), 5, 10);
    m_writer.markCurrentTime(20);
    // So long that the room for it is not kept, and the next one needs new room.
    traceVlog(13, 0, 5, &m_memory[400], value.data(), 1, 1600 * 4);
    traceVlog(14, 0, 5, &m_memory[400], value.data(), 0, 1);
    m_writer.close();

    std::vector<History> expected(300);
    for (const std::size_t place : {10, 11, 12})
        expected[place] = {{1, 0xff}};
    for (std::size_t place = 200; place < 216; ++place)
        expected[place] = {{place < 208 ? 3 : 4, 0}};
    for (const std::size_t place : {200, 204})
        expected[place] = {{3, 0x18}, {4, 0}};
    expected[201] = {{3, 0x30}};
    for (const std::size_t place : {203, 207})
        expected[place].push_back({4, 0xc0});
    for (const std::size_t place : {208, 212})
        expected[place] = {{4, 3}};
    for (std::size_t place = 208; place < 216; ++place)
        expected[place].push_back({5, 0xff});
    for (std::size_t place = 250; place < 258; ++place)
        expected[place] = {{10, place == 251 ? 0x30 : place % 4 == 2 ? 0xff : 0}};
    for (std::size_t place = 275; place < 285; ++place)
        expected[place] = {{12, 0xff}};
    long long latestTime = 0;
    const auto histories = readHistories(m_fileName, 0, 300, &latestTime);
    EXPECT_EQ(latestTime, 20);
    for (std::size_t place = 0; place < expected.size(); ++place)
        EXPECT_EQ(histories[place], expected[place]) << place;
    EXPECT_EQ(readHistories(m_fileName, 400, 1)[0], (History{{13, 0xfe}, {14, 1}}));
    EXPECT_EQ(readHistories(m_fileName, 1999, 1)[0], (History{{13, 0xff}}));
}

TEST_F(StandAloneWriter, sectionsAreTheEventsTheTextsAndTheFilesOfTheSnapshotIfThere)
{
    open();
    m_writer.close();
    EXPECT_EQ(listSections(m_fileName), "WDB.Event WDB.StringMap ");

    const std::string dump = m_directory.path("zsim.dir");
    std::filesystem::create_directories(dump + "/work.top");
    ZSIM::OutputFileNames::setZSimDirLocation(dump.c_str());
    writeFile(ZSIM::OutputFileNames::getDbgPathName("work.top"), "debug");
    writeFile(ZSIM::OutputFileNames::getRTTIPathName("work.top"), "types");
    m_writer.setApplication("early");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.path(""));
    m_writer.open(IWdbWriter::kDefaultMode, "zsim.dir/work.top/zsimk", "", 0);
    std::filesystem::current_path(before);
    m_writer.close();
    EXPECT_EQ(listSections(m_directory.path("zsim.wdb")),
              "Zelnix DBG Zelnix RTTI WDB.Event WDB.StringMap ");
    WdbFileManager file;
    file.open(m_directory.path("zsim.wdb"));
    EXPECT_EQ(file.getApplication(), "early");
}

TEST_F(StandAloneWriter, closedItDoesNothingAndItOpensAgain)
{
    const auto doAll = [&](int time) {
        traceByte(time, 0, static_cast<unsigned char>(time));
        m_writer.markCurrentTime(time);
        m_writer.flush();
        return m_writer.addString("text");
    };
    EXPECT_EQ(doAll(1), -1);
    m_writer.close();
    EXPECT_THROW(m_writer.open(IWdbWriter::kDefaultMode, "", m_directory.path("no/where"), 0),
                 Qsim::OpenException);
    m_writer.setAddressSize(std::numeric_limits<long long>::max());
    EXPECT_THROW(open(), Qsim::OpenException);
    EXPECT_FALSE(std::filesystem::exists(m_fileName));
    EXPECT_EQ(doAll(1), -1);

    m_writer.setAddressSize(sizeof m_memory);
    m_writer.setBucketDivision(0);
    open();
    EXPECT_EQ(doAll(2), 1);
    const std::string other = m_directory.path("other.wdb");
    m_writer.open(IWdbWriter::kDefaultMode, "", other, 0);
    EXPECT_EQ(doAll(3), 1) << "ids start anew";
    EXPECT_EQ(doAll(4), 2);
    m_writer.close();
    EXPECT_EQ(readHistories(m_fileName, 0, 1)[0], (History{{2, 2}}));
    EXPECT_EQ(readHistories(other, 0, 1)[0], (History{{3, 3}, {4, 4}}));
    WdbFileManager file;
    file.open(other);
    const auto division =
        static_cast<std::size_t>(WdbIEventBlockDatabase::getEventSection(file) + 16);
    EXPECT_EQ(readFile(other).substr(division, 8), littleEndian(2048, 8));
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
        auto events = addEventDatabase(file, 1001, sizeof m_memory, 64);
        events->setFilterRepeatedValue(filter);
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
