// SPDX-License-Identifier: BSD-3-Clause

#include "SharedMemory.h"
#include "WdbSharedMemMgr.h"
#include "testing/ForkedProcess.h"

#include "testing/TestFiles.h"

#include <cstring>
#include <thread>
#include <vector>

namespace Tracewell {
namespace {

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
    for (; ring.getEmptyBlock(); ++held) {
        ring.commitWrite();
    }
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
    while (!(record = get())) {
        std::this_thread::yield();
    }
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
            if (std::memcmp(await([&] { return view.getNextBlock(); }), expected, 24) != 0) {
                return false;
            }
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
