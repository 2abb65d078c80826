// SPDX-License-Identifier: BSD-3-Clause

#include "WdbWriter.h"

#include "../transitions/ChannelFixture.h"

#include <cerrno>
#include <limits>

namespace Tracewell {
namespace {

class DatabaseWriter : public ChannelFixture
{
protected:
    void openLive()
    {
        m_writer.open(IWdbWriter::kLiveMode, kDesign, fileName(), 0);
        m_ring = std::unique_ptr<SharedMemory>(new SharedMemory(ring(SharedMemory::kOpen)));
    }
    std::string take(std::size_t payloadBytes) { return takeHead(*m_ring, payloadBytes); }
    static unsigned char* bytesOf(std::string& text)
    {
        return reinterpret_cast<unsigned char*>(text.data());
    }

    WdbWriter m_writer;
    std::unique_ptr<SharedMemory> m_ring;
};

TEST_F(DatabaseWriter, scalarsPassUnlessTheComparedBitsAreEqual)
{
    struct Case
    {
        unsigned int kind, type;
        std::size_t bytes;
        const char* same;
        const char* other;
    };
    const Case cases[] = {
        {0, 1, 1, "\x15", "\x95"},
        {1, 2, 4, "\x15tttt", "\x15ttT"},
        {2, 4, 8, "\x15tttttttt", "\x15ttttttT"},
        {3, 6, 8, "\x15tttttttt", "\x15ttttttT"},
        {4, 1, 1, "\xEB", "\x14"},
        {5, 11, 1, "\xE9", "\x17"},
        {6, 12, 1, "\xE5", "\x1D"},
    };
    openLive();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.kind);
        std::string value = "\x15ttttttt";
        std::string same = padded(test.same, 9);
        std::string other = padded(test.other, 9);
        const std::string slot = head(5, 3, test.type) + value.substr(0, test.bytes);
        const auto trace = m_writer.getTraceVhdlFunc();
        trace(5, 3, test.kind, bytesOf(same), bytesOf(value));
        EXPECT_EQ(take(test.bytes), "none");
        trace(5, 3, test.kind, bytesOf(other), bytesOf(value));
        EXPECT_EQ(take(test.bytes), slot);
        trace(5, 3, test.kind, bytesOf(value), bytesOf(value));
        EXPECT_EQ(take(test.bytes), slot);
        m_writer.getTraceVhdlFuncScalar()(5, 3, test.kind, bytesOf(value));
        EXPECT_EQ(take(test.bytes), slot);
        trace(5, 3, test.kind + 7, bytesOf(value), bytesOf(value));
        m_writer.getTraceScObjectFunc()(5, 3, bytesOf(other), bytesOf(value), 0, 8);
        m_writer.getTraceScVirtualObjectFunc()(5, 3, bytesOf(value), 0, 8);
        EXPECT_EQ(take(test.bytes), "none");
    }
}

TEST_F(DatabaseWriter, vectorsAreComparedByMaskedWordsAsTheyStand)
{
    openLive();
    const auto trace = m_writer.getTraceVlogFunc();
    std::string old = halfWords(0b0110, 0b0000, 0, 0);
    std::string value = halfWords(0b0101, 0b0100, 1, 1);
    trace(5, 100, 5, bytesOf(old), bytesOf(value), 0, 33);
    for (const auto& [bit, code] : {std::pair(0, 1), {1, 0}, {2, 3}, {32, 3}}) {
        EXPECT_EQ(take(1),
                  head(5, 100U + static_cast<unsigned int>(bit), 11) + static_cast<char>(code));
    }
    EXPECT_EQ(take(1), "none");
    // Bits 1 and 2 are set and stay so: shifted they never compare equal. Bit 3 is clear in both.
    value = halfWords(0b011, 0);
    trace(6, 100, 5, bytesOf(old), bytesOf(value), 1, 4);
    EXPECT_EQ(take(1), head(6, 101, 11) + '\1');
    EXPECT_EQ(take(1), head(6, 102, 11) + '\1');
    EXPECT_EQ(take(1), "none");
    trace(7, 100, 5, bytesOf(value), bytesOf(value), 0, 1);
    EXPECT_EQ(take(1), head(7, 100, 11) + '\1');
}

TEST_F(DatabaseWriter, realVectorsTakeOneNumberFor32Bits)
{
    openLive();
    const auto trace = m_writer.getTraceVlogFunc();
    double old[] = {0.0, 2.0, std::numeric_limits<double>::quiet_NaN()};
    double value[] = {-0.0, 3.0, old[2]};
    const auto bytes = [](double* numbers) { return reinterpret_cast<unsigned char*>(numbers); };
    trace(5, 10, 3, bytes(old), bytes(value), 64, 64 + 31);
    trace(5, 10, 4, bytes(old), bytes(value), 0, 96);
    EXPECT_EQ(take(0), "none");
    trace(5, 10, 3, bytes(old), bytes(value), 64, 64 + 96);
    EXPECT_EQ(take(8), head(5, 13, 6) + words(0x4008000000000000));
    EXPECT_EQ(take(0), head(5, 14, 6));
    EXPECT_EQ(take(0), "none");
}

TEST_F(DatabaseWriter, marksGoToTheWriterConstructedLast)
{
    openLive();
    {
        WdbWriter last;
        m_writer.markCurrentTime(5);
        EXPECT_EQ(take(0), "none");
    }
    unsigned char value = 1;
    m_writer.getTraceVhdlFuncScalar()(1, 2, 0, &value);
    EXPECT_EQ(take(0), "none");
    WdbWriter::s_pWriter = &m_writer;
    m_writer.markCurrentTime(6);
    EXPECT_EQ(take(0), head(6, 0xFFFFFFFF, 0));
    m_writer.close();
    EXPECT_FALSE(m_writer.isOpen() || std::filesystem::exists(fileName()));
}

TEST_F(DatabaseWriter, whatIsMissingOfTheFileIsTold)
{
    const auto errorAfterRun = [&](const std::string& design, const std::string& name) {
        m_writer.open(IWdbWriter::kDefaultMode, design, name, 0);
        unsigned char value = 1;
        m_writer.getTraceVhdlFuncScalar()(1, 2, 0, &value);
        m_writer.close();
        return m_writer.getFileError();
    };
    EXPECT_EQ(errorAfterRun(kDesign, m_directory.path("missing/run.wdb")), ENOENT);
    EXPECT_EQ(errorAfterRun("unnamed", fileName()), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(fileName()));
    EXPECT_EQ(errorAfterRun(kDesign, fileName()), 0);
}

TEST_F(DatabaseWriter, limitsHoldFromTheNextOpen)
{
    const auto fileSize = [&](const DataBaseLimits& limits) {
        m_writer.setLimits(limits);
        m_writer.open(IWdbWriter::kDefaultMode, kDesign, fileName(), 0);
        for (unsigned char i = 0; i < 200; ++i) {
            m_writer.getTraceVhdlFuncScalar()(i, i % 20, 0, &i);
        }
        m_writer.close();
        return std::filesystem::file_size(fileName());
    };
    const auto size = fileSize({});
    EXPECT_GT(fileSize({0, 0, 0, 1}), size);
    EXPECT_EQ(fileSize({}), size);
}

class DatabaseWriterFile : public DatabaseWriter,
                           public ::testing::WithParamInterface<IWdbWriter::WriterMode>
{};

TEST_P(DatabaseWriterFile, closeFinishesTheFileAndTheLogOfPostMode)
{
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.path(""));
    std::filesystem::create_directories("zsim.dir");
    const auto trace = m_writer.getTraceVhdlFuncScalar();
    unsigned char value[8] = {3, 0, 0, 0};
    trace(1, 1, 6, value);
    m_writer.setMaxTraceableSize(500);
    m_writer.open(GetParam(), kDesign, fileName(), 0);
    trace(1, 1, 6, value);
    m_writer.restart();
    trace(4, 1, 6, value);
    trace(9, 2, 1, value);
    m_writer.markCurrentTime(50);
    m_writer.close();
    trace(10, 2, 1, value);
    m_writer.markCurrentTime(60);
    m_writer.restart();
    m_writer.close();
    EXPECT_EQ(readFile("zsim.dir/writeTransition.txt"),
              GetParam() == IWdbWriter::kPostMode ? "1 4 3\n2 9 3\n" : "");
    std::filesystem::current_path(former);
    const auto viewer = open(DataBaseMode::Viewer);
    EXPECT_EQ(viewer->getLatestTime(), 9);
    EXPECT_EQ(viewer->getMaxTraceableSize(), 500U);
}

INSTANTIATE_TEST_SUITE_P(Modes, DatabaseWriterFile,
                         ::testing::Values(IWdbWriter::kDefaultMode, IWdbWriter::kPostMode));

} // namespace
} // namespace Tracewell
