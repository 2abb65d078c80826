// SPDX-License-Identifier: BSD-3-Clause

#include "RecordedHistories.h"
#include "testing/Seed.h"

#include "testing/ForkedProcess.h"

#include "StorageFailure.h"
#include "WdbIndexedWriter.h"
#include "WdbMultipleBucketBtreeDatabase.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <random>

#include <sys/resource.h>

namespace Tracewell {
namespace {

class IndexedWriter : public ::testing::Test
{
protected:
    IndexedWriter()
    {
        m_writer.setBaseDPOffset(
            static_cast<long long>(reinterpret_cast<std::uintptr_t>(&m_memory)));
        m_writer.setAddressSize(sizeof m_memory);
    }

    void open() { m_writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0); }
    void traceByte(long long time, std::size_t place, unsigned char value)
    {
        m_writer.getTraceVhdlFunc()(time, 99, 1, &m_memory[place], &value);
    }
    long long findMark() const
    {
        WdbFileManager file;
        file.open(m_fileName);
        long long mark = -2;
        WdbWholeMark::find(file, mark);
        return mark;
    }

    TestDirectory m_directory;
    const std::string m_fileName = m_directory.path("run.wdb");
    std::array<unsigned char, 5000> m_memory{};
    WdbIndexedWriter m_writer;
};

TEST_F(IndexedWriter, everyTraceFunctionComesBackAndWhatHasNoPlaceIsTold)
{
    std::vector<unsigned char> value(16, 0xff);
    m_writer.getTraceVhdlFunc()(1, 0, 1, m_memory.data(), value.data());
    EXPECT_EQ(m_writer.addString("closed"), -1);
    open();
    m_writer.getTraceVhdlFunc()(1, 0, 2, &m_memory[2047], value.data());
    m_writer.getTraceVhdlFuncScalar()(2, 0, 1, value.data());
    m_writer.getTraceVlogFunc()(3, 0, 5, &m_memory[200], value.data(), 35, 37);
    m_writer.getTraceScObjectFunc()(4, 300, &m_memory[200], value.data(), 33, 8);
    m_writer.getTraceScVirtualObjectFunc()(5, 270, value.data(), 5, 1);
    ::testing::internal::CaptureStderr();
    m_writer.getTraceScVirtualObjectFunc()(6, static_cast<unsigned long long>(-3LL), value.data(),
                                           0, 1);
    m_writer.getTraceScVirtualObjectFunc()(7, 1 << 20, value.data(), 0, 1);
    const std::string lines = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines.find("tracewell: " + m_fileName + ": a change at address -3 is left out"), 0u);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
    EXPECT_EQ(m_writer.addString("text"), 1);
    m_writer.close();

    long long latestTime = 0;
    const auto histories = readHistories(m_fileName, 0, 5000, &latestTime);
    EXPECT_EQ(latestTime, 7);
    EXPECT_EQ(findMark(), WdbWholeMark::kClosed);
    std::vector<History> expected(5000);
    expected[2047] = expected[2048] = {{1, 0xff}};
    for (std::size_t i = 0; i < 8; ++i) {
        expected[208 + i] = {{3, i % 4 == 0 ? 0x18 : 0}};
        expected[308 + i] = {{4, i % 4 == 0 ? 0xfe : i % 4 == 1 ? 1 : 0}};
    }
    expected[275] = {{5, 0xff}};
    EXPECT_EQ(histories, expected);

    m_writer.setAddressSize(0);
    open();
    ::testing::internal::CaptureStderr();
    traceByte(1, 0, 1);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("within the 0 bytes"),
              std::string::npos);
}

TEST_F(IndexedWriter, syncedEventsAreInTheFileAndCountersTellAllChangesOfATime)
{
    m_writer.setCounters(100, 102);
    open();
    traceByte(4, 7, 1);
    traceByte(4, 7, 2);
    for (int i = 1; i <= 700; ++i) {
        traceByte(5, 100, static_cast<unsigned char>(i));
    }
    m_writer.sync();
    EXPECT_EQ(findMark(), 4);
    EXPECT_EQ(readHistories(m_fileName, 7, 1), (std::vector<History>{{{4, 2}}}));

    WdbFileManager file;
    file.open(m_fileName);
    WdbMultipleBucketBtreeDatabase database(1002, file);
    database.initialize(WdbIEventBlockDatabase::getEventSection(file), false);
    int changes = 0;
    unsigned char last = 0;
    for (const TestEvent& event : eventsOf(database)) {
        if (event.address == 100) {
            const auto value = static_cast<unsigned char>(event.value[0]);
            changes += static_cast<unsigned char>(value - last);
            last = value;
        }
    }
    EXPECT_EQ(changes, 700);
}

TEST_F(IndexedWriter, withAHandlerAFullDiskStopsTracingAndTheFileIsNoWholeOne)
{
    // In a process of its own: the limit on the size of files stays.
    ForkedProcess process([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100'000, 100'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::vector<std::string> lines;
        setStorageFailureHandler([&](const std::string& line) { lines.push_back(line); });
        open();
        std::mt19937 random(Tracewell::seeded(1));
        for (long long time = 1; time < 400'000; ++time) {
            traceByte(time, random() % m_memory.size(), static_cast<unsigned char>(random()));
            m_writer.markCurrentTime(time);
            if (time == 10) {
                m_writer.sync();
            }
        }
        m_writer.close();
        const bool twoLines = lines.size() == 2 && lines[0].find("WDB FATAL ERROR: ") == 0 &&
                              lines[1].find("Tracing to " + m_fileName) == 0;
        const bool isKilledFile = findMark() == 9;
        // Nothing is left over for the next file.
        open();
        traceByte(5, 0, 9);
        m_writer.close();
        return twoLines && isKilledFile && lines.size() == 2 &&
               findMark() == WdbWholeMark::kClosed &&
               readHistories(m_fileName, 0, 1) == std::vector<History>{{{5, 9}}};
    });
    EXPECT_TRUE(process.succeeds());
}

} // namespace
} // namespace Tracewell
