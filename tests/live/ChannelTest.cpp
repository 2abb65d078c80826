#include "../support/ForkedProcess.h"
#include "PacketWalk.h"
#include "SharedMemory.h"
#include "WdbSharedMemMgr.h"

#include "../support/TestFiles.h"

#include <cstring>
#include <list>
#include <random>
#include <thread>
#include <vector>

namespace Tracewell {
namespace {

using Kind = PacketWalk::Kind;

/// Value byte `i` of change number `time`.
unsigned char valueByte(long long time, long long i)
{
    return static_cast<unsigned char>(time * 7 + i + i / 256);
}

/// Sends a change as a live writer does: whole below 299 bytes, in pieces from there on.
void send(WdbSharedMemMgr& kernel, long long time, unsigned int length)
{
    std::vector<unsigned char> value(length + 1);
    for (unsigned int i = 0; i < length; ++i)
        value[i] = valueByte(time, i);
    WdbLivePacketContainer change;
    change.setData(time, length, 1000 * time, value.data());
    std::list<WdbLivePacketContainer> pieces;
    change.splitContainer(pieces, 299);
    if (pieces.empty())
        pieces.push_back(change);
    for (const WdbLivePacketContainer& piece : pieces)
        ASSERT_TRUE(kernel.putPacket(&piece));
}

/// Looks whether the changes come once, in order and with their bytes, pieces put together.
class Checker
{
public:
    explicit Checker(const std::vector<unsigned int>& lengths) : m_lengths(lengths) {}

    bool isComplete() const { return m_time == static_cast<long long>(m_lengths.size()); }

    bool check(const std::vector<char>& data, unsigned int size)
    {
        PacketWalk walk(data.data(), size, 100000);
        Kind kind;
        while ((kind = walk.next()) == Kind::Event)
            if (!check(walk.getEvent()))
                return false;
        return kind == Kind::End;
    }

private:
    bool check(const WdbLiveEvent& event)
    {
        if (isComplete() || event.getTime() != m_time ||
            event.getStartAddress() != 1000 * m_time + m_done)
            return false;
        for (unsigned int i = 0; i < event.getValuelength(); ++i, ++m_done)
            if (event.getValue()[i] != valueByte(m_time, m_done))
                return false;
        if (m_done == m_lengths[static_cast<std::size_t>(m_time)]) {
            ++m_time;
            m_done = 0;
        }
        return true;
    }

    const std::vector<unsigned int>& m_lengths;
    long long m_time = 0;
    long long m_done = 0;
};

// The viewer lets the ring run full a few times before it reads as ever.
TEST(Channel, changesOfEveryLengthArriveOnceInOrderAndWholeHoweverSlowTheReader)
{
    std::vector<unsigned int> lengths{274, 275, 298, 299, 19070, 19071, 19072, 99999, 100000};
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937 engine(seed);
    const auto random = [&] { return static_cast<unsigned int>(engine()); };
    for (unsigned int length = 0; length <= 1500; ++length)
        lengths.push_back(length);
    for (int i = 0; i < 200000; ++i)
        lengths.push_back(i % 300 ? random() % 33 : 50000 + random() % 50001);

    constexpr unsigned int kSize = WdbSharedMemMgr::kRingSize;
    const TestDirectory directory;
    WdbSharedMemMgr kernel(true, directory.path("snap"), 1);
    ForkedProcess viewer([&] {
        std::vector<char> buffer(kSize);
        Checker checker(lengths);
        unsigned int count = 0;
        for (int lap = 0; lap < 4; ++lap) {
            SharedMemoryRegion region(SharedMemoryRegion::kOpen, kSize, directory.path("snap"), 1);
            WdbCircularBuffer ring(region.base(), kSize, false);
            for (unsigned int next = 0; ring.canWrite(count, next, 299);)
                std::this_thread::yield();
            if (!ring.getPackets(buffer.data(), count) || !checker.check(buffer, count))
                return false;
        }
        WdbSharedMemMgr channel(false, directory.path("snap"), 1);
        while (!checker.isComplete())
            if (!channel.getPackets(buffer.data(), count) || !checker.check(buffer, count))
                return false;
        return true;
    });
    for (std::size_t i = 0; i < lengths.size(); ++i)
        send(kernel, static_cast<long long>(i), lengths[i]);
    EXPECT_TRUE(viewer.succeeds());
}

TEST(Channel, shutDownStopsBothSidesAndRestartOnlyTheReader)
{
    const TestDirectory directory;
    WdbSharedMemMgr kernel(true, directory.path("snap"), 1);
    WdbSharedMemMgr viewer(false, directory.path("snap"), 1);
    std::vector<char> buffer(WdbSharedMemMgr::kRingSize);
    unsigned int count = 0;

    ASSERT_TRUE(kernel.putPacketMarkTime(1));
    viewer.restart();
    EXPECT_FALSE(viewer.getPackets(buffer.data(), count));
    viewer.prepareForStart();
    ASSERT_TRUE(kernel.putPacketMarkTime(0x0807060504030201));
    viewer.stopReading();
    EXPECT_FALSE(viewer.getPackets(buffer.data(), count));
    viewer.prepareForStart();
    ASSERT_TRUE(viewer.getPackets(buffer.data(), count));
    EXPECT_EQ(std::string(buffer.data(), count), littleEndian(8, 4) + "\1\2\3\4\5\6\7\10");

    kernel.restart();
    EXPECT_TRUE(kernel.putPacket("abc", 3));
    EXPECT_FALSE(kernel.putPacket("abcdefghi", 9));
    WdbLivePacketContainer endless;
    endless.setData(1, 5000000, 0, nullptr);
    EXPECT_FALSE(kernel.putPacket(&endless));
    kernel.shutDown();
    EXPECT_FALSE(kernel.putPacketMarkTime(3));
    viewer.shutDown();
    EXPECT_FALSE(viewer.getPackets(buffer.data(), count));
}

SharedMemory makeRing(int mode, const TestDirectory& directory, int dataSize)
{
    return {mode, directory.path(""), 0, dataSize, "Local\\TestData", 16, "Local\\TestPointers"};
}

TEST(SecondRing, recordsGoUpToTheDataSizeItselfAndThenBeginBehindTheFirstPlace)
{
    const TestDirectory directory;
    SharedMemory ring = makeRing(SharedMemory::kCreate, directory, 10 * 24);
    char* const first = ring.getEmptyBlock();
    ASSERT_NE(first, nullptr);
    for (int place : {0, 24, 48, 72, 96, 120, 144, 168, 192, 216, 240, 24, 48}) {
        EXPECT_EQ(ring.getNextBlock(), nullptr);
        ASSERT_EQ(ring.getEmptyBlock(), first + place);
        std::memset(first + place, 'x', SharedMemory::kRecordSize);
        ring.commitWrite();
        ASSERT_EQ(ring.getNextBlock(), first + place);
        ring.advanceRead();
    }
    int held = 0;
    for (; ring.getEmptyBlock(); ++held)
        ring.commitWrite();
    EXPECT_EQ(held, 9);
    ring.clearPointers();
    EXPECT_EQ(ring.getNextBlock(), nullptr);
    EXPECT_EQ(ring.getEmptyBlock(), first);

    SharedMemory unmapped = makeRing(7, directory, 10 * 24);
    EXPECT_FALSE(unmapped.getEmptyBlock() || unmapped.getNextBlock());
    unmapped.commitWrite();
    unmapped.advanceRead();
    unmapped.clearPointers();
}

template <class Get> char* await(Get get)
{
    char* record;
    while (!(record = get()))
        std::this_thread::yield();
    return record;
}

TEST(SecondRing, everyRecordArrivesOnceAndInOrderInAnotherProcess)
{
    constexpr int kDataSize = 2400000;
    constexpr long long kRecords = 350000;
    const TestDirectory directory;
    SharedMemory ring = makeRing(SharedMemory::kCreate, directory, kDataSize);
    ForkedProcess consumer([&] {
        SharedMemory view = makeRing(SharedMemory::kOpen, directory, kDataSize);
        for (long long i = 0; i < kRecords; ++i) {
            const long long expected[3] = {i, 0, ~i};
            if (std::memcmp(await([&] { return view.getNextBlock(); }), expected, 24) != 0)
                return false;
            view.advanceRead();
        }
        return view.getNextBlock() == nullptr;
    });
    for (long long i = 0; i < kRecords; ++i) {
        const long long content[3] = {i, 0, ~i};
        std::memcpy(await([&] { return ring.getEmptyBlock(); }), content, 24);
        ring.commitWrite();
    }
    EXPECT_TRUE(consumer.succeeds());
}

} // namespace
} // namespace Tracewell
