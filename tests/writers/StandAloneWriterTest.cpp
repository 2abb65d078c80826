// SPDX-License-Identifier: BSD-3-Clause

#include "RecordedHistories.h"
#include "testing/Seed.h"

#include "testing/ForkedProcess.h"

#include "OutputFileNames.h"
#include "QsimException.h"
#include "StorageFailure.h"
#include "WdbStandAloneWriter.h"
#include "WdbStaticReader.h"
#include "WdbStringMapDatabase.h"
#include "WriterFactory.h"

#include <array>
#include <csignal>
#include <cstring>
#include <random>

#include <sys/resource.h>

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
    const auto traceScObject = m_writer.getTraceScObjectFunc();
    open();
    std::vector<unsigned char> value(1600, 0xff);
    m_writer.getTraceVhdlFunc()(1, 0, 2, &m_memory[63], value.data());
    m_writer.getTraceVhdlFuncScalar()(2, 0, 1, value.data());
    traceVlog(3, 0, 5, &m_memory[200], value.data(), 35, 37);
    traceVlog(4, 0, 5, &m_memory[200], value.data(), 32, 64);
    traceVlog(5, 0, 5, &m_memory[200], value.data(), 7, 7);
    traceVlog(5, 0, 5, &m_memory[200], value.data(), 7, 3);
    m_writer.markCurrentTime(30);
    // So long that the room for it is not kept, and the next one needs new room.
    traceVlog(6, 0, 5, &m_memory[400], value.data(), 1, 1600 * 4);
    traceVlog(7, 0, 5, &m_memory[400], value.data(), 0, 1);
    traceScObject(8, 300, &m_memory[200], value.data(), 33, 8);
    traceScObject(9, 300, &m_memory[200], value.data(), 5, 0xFFFFFFFFu);
    m_writer.getTraceScVirtualObjectFunc()(10, 270, value.data(), 5, 1);
    m_writer.close();

    long long latestTime = 0;
    const auto histories = readHistories(m_fileName, 0, 2000, &latestTime);
    EXPECT_EQ(latestTime, 10) << "whatever was marked before";
    std::vector<History> expected(2000);
    expected[63] = expected[64] = {{1, 0xff}};
    for (std::size_t i = 0; i < 8; ++i) {
        expected[208 + i] = {{3, i % 4 == 0 ? 0x18 : 0}, {4, 0xff}};
        expected[308 + i] = {{8, i % 4 == 0 ? 0xfe : i % 4 == 1 ? 1 : 0}};
    }
    for (std::size_t place = 400; place < 2000; ++place) {
        expected[place] = {{6, place < 408 && place % 4 == 0 ? 0xfe : 0xff}};
    }
    expected[400].push_back({7, 1});
    expected[404].push_back({7, 1});
    for (std::size_t i = 1; i < 8; ++i) {
        if (i != 4) {
            expected[400 + i].push_back({7, 0});
        }
    }
    expected[275] = {{10, 0xff}};
    for (std::size_t place = 0; place < expected.size(); ++place) {
        EXPECT_EQ(histories[place], expected[place]) << place;
    }
}

TEST_F(StandAloneWriter, changesWithoutAPlaceAreLeftOutWithOneLine)
{
    open();
    const auto trace = m_writer.getTraceScVirtualObjectFunc();
    unsigned char value = 7;
    ::testing::internal::CaptureStderr();
    trace(1, static_cast<unsigned long long>(-3LL), &value, 0, 1);
    trace(2, 1ull << 33, &value, 0, 1);
    trace(3, 2, &value, 0, 1);
    m_writer.close();
    const std::string lines = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(lines.find("tracewell: a change at address -3 is left out"), std::string::npos);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
    WdbStaticReader reader;
    reader.createReader("", m_fileName, 0, "");
    EXPECT_EQ(reader.getLatestTime(), 3);
    EXPECT_EQ(readHistories(m_fileName, 2, 1), (std::vector<History>{{{3, 7}}}));
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
    ForkedProcess kernel([&] {
        factoryWriter.setAddressSize(100);
        factoryWriter.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
        unsigned char value = 7;
        factoryWriter.getTraceScVirtualObjectFunc()(1, 2, &value, 3, 1);
        factoryWriter.markCurrentTime(50);
        std::exit(0);
        return true;
    });
    EXPECT_TRUE(kernel.succeeds());
    long long latestTime = 0;
    EXPECT_EQ(readHistories(m_fileName, 5, 1, &latestTime), (std::vector<History>{{{1, 7}}}));
    EXPECT_EQ(latestTime, 50);
}

TEST_F(StandAloneWriter, withAHandlerAFullDiskStopsTracingAndTheProcessGoesOn)
{
    // In a process of its own: the limit on the size of files stays.
    ForkedProcess process([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100'000, 100'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::vector<std::string> lines;
        std::mutex mutex;
        setStorageFailureHandler([&](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        });
        open();
        const std::pair<long long, int> first(1, 7);
        traceByte(1, 0, 7);
        m_writer.flush();
        std::mt19937 random(Tracewell::seeded(1));
        for (long long time = 2; time < 400'000; ++time) {
            traceByte(time, random() % m_memory.size(), static_cast<unsigned char>(random()));
            m_writer.markCurrentTime(time);
        }
        m_writer.close();
        const bool twoLines = lines.size() == 2 && lines[0].find("WDB FATAL ERROR: ") == 0 &&
                              lines[1].find("Tracing to " + m_fileName) == 0;
        WdbFileManager file;
        file.open(m_fileName);
        long long latest = -1;
        file.getFileBlockManager().getBlock(WdbIEventBlockDatabase::getEventSection(file),
                                            reinterpret_cast<char*>(&latest), sizeof latest);
        file.close();
        const bool isKilledFile =
            latest == 0 && readHistories(m_fileName, 0, 1).at(0).at(0) == first;
        // Nothing is left over for the next file.
        open();
        traceByte(5, 0, 9);
        m_writer.close();
        const bool isWhole =
            lines.size() == 2 && readHistories(m_fileName, 0, 1) == std::vector<History>{{{5, 9}}};
        // There is hardly room for a header: no reader's complaint of damage comes of it.
        const rlimit small{2'000, 100'000};
        ::setrlimit(RLIMIT_FSIZE, &small);
        bool isRefused = false;
        try {
            open();
        } catch (const Qsim::OpenException& e) {
            isRefused =
                std::string(e.getMessage()).find("created, but not written") != std::string::npos;
        }
        return twoLines && isKilledFile && isWhole && isRefused && lines.size() > 2;
    });
    EXPECT_TRUE(process.succeeds());
}

} // namespace
} // namespace Tracewell
