// SPDX-License-Identifier: BSD-3-Clause

#include "OutputFileNames.h"
#include "PacketWalk.h"
#include "WdbLiveWriter.h"
#include "WdbSharedMemMgr.h"

#include "testing/TestFiles.h"

#include <gmock/gmock.h>

#include <atomic>
#include <numeric>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Tracewell {
namespace {

using ::testing::ElementsAre;

/// A writer and whoever reads its ring, in one process: what the bytes are.
class LiveWriter : public ::testing::Test
{
protected:
    LiveWriter()
    {
        std::iota(std::begin(m_memory), std::end(m_memory), static_cast<unsigned char>(0));
        m_writer.setBaseDPOffset(reinterpret_cast<long long>(m_memory));
        m_writer.open(IWdbWriter::kLiveMode, m_snapshot, "", 3);
        m_ring = std::make_unique<WdbSharedMemMgr>(
            false, ZSIM::OutputFileNames::getKernelExecDirName(m_snapshot), 3);
    }

    /// What was sent since the last call, an entry a packet: "time @address: bytes", or "mark
    /// time".
    std::vector<std::string> receive()
    {
        std::vector<std::string> packets;
        std::vector<char> buffer(WdbSharedMemMgr::kRingSize);
        unsigned int count = 0;
        if (m_ring->isDrained() || !m_ring->getPackets(buffer.data(), count)) {
            return packets;
        }
        m_ring->stopReading();
        m_ring->getPackets(buffer.data() + count, m_ignored);
        m_ring->prepareForStart();
        PacketWalk walk(buffer.data(), count, 1000);
        for (PacketWalk::Kind kind; (kind = walk.next()) != PacketWalk::Kind::End;) {
            EXPECT_NE(kind, PacketWalk::Kind::Damaged);
            if (kind == PacketWalk::Kind::TimeMark) {
                packets.push_back("mark " + std::to_string(walk.getTimeMark()));
            }
            if (kind == PacketWalk::Kind::Event) {
                packets.push_back(describe(walk.getEvent()));
            }
        }
        return packets;
    }
    static std::string describe(const WdbLiveEvent& event)
    {
        std::string text =
            std::to_string(event.getTime()) + " @" + std::to_string(event.getStartAddress()) + ":";
        if (event.getValuelength() > 24) {
            return text + " " + std::to_string(event.getValuelength());
        }
        for (unsigned int i = 0; i < event.getValuelength(); ++i) {
            text += " " + std::to_string(event.getValue()[i]);
        }
        return text;
    }

    const std::string m_snapshot = "writer" + std::to_string(::getpid());
    unsigned char m_memory[1000];
    std::vector<unsigned char> m_value = std::vector<unsigned char>(1000, 255);
    WdbLiveWriter m_writer;
    std::unique_ptr<WdbSharedMemMgr> m_ring;
    unsigned int m_ignored = 0;
};

TEST_F(LiveWriter, bytesGoAsTheyAreInPiecesFrom275OnAndMarksOnlyWhenAskedFor)
{
    const auto trace = m_writer.getTraceVhdlFunc();
    trace(1, 9, 2, m_memory + 5, m_value.data());
    trace(2, 9, 0, m_memory + 6, m_value.data());
    trace(3, 9, 274, m_memory, m_value.data());
    trace(4, 9, 275, m_memory, m_value.data());
    trace(5, 9, 0xFFFFFFF0u, m_memory, m_value.data());
    m_writer.getTraceScVirtualObjectFunc()(6, 70, m_value.data(), 7, 1);
    m_writer.markCurrentTime(8);
    m_writer.setBaseDPOffset(reinterpret_cast<long long>(m_memory + 100));
    trace(9, 9, 1, m_memory, m_value.data());
    trace(9, 9, 1, m_memory + 100, m_value.data());
    EXPECT_EQ(m_writer.addString("text"), 0);
    EXPECT_THAT(receive(), ElementsAre("1 @5: 255 255", "2 @6:", "3 @0: 274", "4 @0: 137",
                                       "4 @137: 138", "6 @77: 255", "mark 8", "9 @0: 255"));
}

TEST_F(LiveWriter, vectorsGoAsTheGroupsThatTheirBitsTouch)
{
    const auto trace = m_writer.getTraceVlogFunc();
    trace(1, 0, 5, m_memory, m_value.data(), 0, 32);
    trace(2, 0, 5, m_memory, m_value.data(), 30, 34);
    trace(3, 0, 5, m_memory, m_value.data(), 7, 7);
    trace(4, 0, 5, m_memory, m_value.data(), 33, 33 + 32 * 5);
    trace(5, 0, 5, m_memory, m_value.data(), 1, 36 * 32);
    m_writer.getTraceScObjectFunc()(6, 500, m_memory, m_value.data(), 32, 3);
    EXPECT_THAT(receive(), ElementsAre("1 @0: 255 255 255 255 255 255 255 255",
                                       "2 @0: 0 1 2 195 4 5 6 199 11 9 10 11 15 13 14 15",
                                       "4 @8: 48", "5 @0: 72", "5 @72: 72", "5 @144: 72",
                                       "5 @216: 72", "6 @508: 15 9 10 11 15 13 14 15"));
}

TEST_F(LiveWriter, withoutAChannelNothingFaultsAndNobodyWaits)
{
    EXPECT_TRUE(m_writer.isOpen());
    EXPECT_TRUE(m_writer.isViewerPresent());
    m_ring.reset();
    EXPECT_FALSE(m_writer.isViewerPresent());
    const auto use = [&](WdbLiveWriter& writer) {
        EXPECT_FALSE(writer.isOpen());
        writer.getTraceVhdlFunc()(1, 0, 1, m_memory, m_value.data());
        writer.markCurrentTime(1);
        writer.restart();
        writer.close();
        writer.close();
    };
    WdbLiveWriter second;
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    second.open(IWdbWriter::kLiveMode, m_snapshot, "", 3);
    second.getTraceVhdlFuncScalar()(1, 0, 1, m_value.data());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Could not create file mapping object (16).\ntrace vhdl scalar called\n");
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                ::testing::HasSubstr("a running simulation feeds it already"));
    use(second);
    m_writer.close();
    use(m_writer);
    EXPECT_EXIT(m_writer.open(IWdbWriter::kPostMode, m_snapshot, "", 3),
                ::testing::ExitedWithCode(1), "^$");
}

TEST_F(LiveWriter, theWaitHookDecidesWhatAFullRingDoes)
{
    m_writer.close();
    m_ring.reset();
    int asked = 0;
    m_writer.setWaitHook([&] { return ++asked % 3 != 0; });
    m_writer.open(IWdbWriter::kLiveMode, m_snapshot, "", 3);
    long long sent = 0;
    while (asked == 0) {
        m_writer.getTraceVhdlFunc()(sent++, 0, 200, m_memory, m_value.data());
    }
    EXPECT_EQ(asked, 3);
    m_writer.markCurrentTime(1);
    EXPECT_EQ(asked, 3) << "a mark still fits";
    m_writer.restart();
    m_writer.markCurrentTime(2);
    m_ring = std::make_unique<WdbSharedMemMgr>(
        false, ZSIM::OutputFileNames::getKernelExecDirName(m_snapshot), 3);
    EXPECT_THAT(receive(), ElementsAre("mark 2"));

    std::atomic<bool> isWaiting{false};
    m_writer.setWaitHook([&] { return isWaiting = true; });
    std::thread simulation([&] {
        while (!isWaiting) {
            m_writer.getTraceVhdlFunc()(3, 0, 200, m_memory, m_value.data());
        }
    });
    while (!isWaiting) {
        std::this_thread::yield();
    }
    m_writer.restart();
    simulation.join();
    m_writer.markCurrentTime(4);
    EXPECT_THAT(receive(), ElementsAre("mark 4"));
}

} // namespace
} // namespace Tracewell
