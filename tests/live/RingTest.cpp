// SPDX-License-Identifier: BSD-3-Clause

#include "PacketWalk.h"
#include "WdbCircularBuffer.h"
#include "WdbLivePacket.h"
#include "testing/Seed.h"

#include "testing/TestFiles.h"

#include <gmock/gmock.h>

#include <cstring>
#include <list>
#include <memory>
#include <numeric>
#include <random>
#include <sstream>
#include <vector>

namespace Tracewell {
namespace {

using ::testing::HasSubstr;
using Kind = PacketWalk::Kind;

/// A ring in memory of its own, full of 'Z', with bytes behind it that nobody may touch.
struct RingMemory
{
    explicit RingMemory(unsigned int areaSize) : m_size(areaSize), m_words((areaSize + 87) / 8)
    {
        std::memset(base(), 'Z', m_words.size() * 8);
    }
    char* base() { return reinterpret_cast<char*>(m_words.data()); }
    WdbCircularBuffer ring(bool create = false) { return {base(), m_size + 8, create}; }
    void setIndices(unsigned int write, unsigned int read)
    {
        std::memcpy(base(), (littleEndian(write, 4) + littleEndian(read, 4)).data(), 8);
    }
    std::string all() { return std::string(base(), m_words.size() * 8); }
    bool isTailUntouched() { return all().find_first_not_of('Z', m_size + 8) > all().size(); }

    unsigned int m_size;
    std::vector<unsigned long long> m_words;
};

std::string makeValue(unsigned int length, unsigned int seed)
{
    std::string value(length, '\0');
    std::iota(value.begin(), value.end(), static_cast<char>(seed));
    return value;
}

bool put(WdbCircularBuffer& ring, long long time, const std::string& value)
{
    WdbLivePacketContainer change;
    change.setData(time, static_cast<unsigned int>(value.size()), ~time,
                   reinterpret_cast<const unsigned char*>(value.data()));
    return ring.putPacket(change);
}

/// The bytes of what put sends.
std::string packet(long long time, const std::string& value)
{
    return halfWords(value.size() + 20) + words(time, ~time) + halfWords(value.size()) + value;
}

std::string take(WdbCircularBuffer& ring)
{
    std::string out(2000, '\0');
    unsigned int count = 77;
    const bool found = ring.getPackets(out.data(), count);
    EXPECT_EQ(found, count > 0);
    return out.substr(0, count);
}

TEST(Ring, layoutOfIndicesEventsAndTimeMarksIsTheWireFormat)
{
    RingMemory memory(200);
    WdbCircularBuffer ring = memory.ring(true);
    EXPECT_TRUE(put(ring, 0x0102030405060708, "ab"));
    char place[12];
    auto* const mark = new (place) WdbLivePacket(8);
    mark->putData("\xff\xfe\xfd\xfc\xfb\xfa\xf9\x7f");
    EXPECT_TRUE(ring.putPacket(*mark));

    const std::string packets("\x16\0\0\0\x08\x07\x06\x05\x04\x03\x02\x01"
                              "\xf7\xf8\xf9\xfa\xfb\xfc\xfd\xfe\x02\0\0\0ab"
                              "\x08\0\0\0\xff\xfe\xfd\xfc\xfb\xfa\xf9\x7f",
                              38);
    EXPECT_EQ(memory.all().substr(0, 48), littleEndian(38, 8) + packets + "ZZ");
    EXPECT_EQ(take(ring), packets);
    EXPECT_EQ(memory.all().substr(0, 8), littleEndian(38, 4) + littleEndian(38, 4));
    EXPECT_EQ(take(ring), "");
}

TEST(Ring, packetsOfEveryKindOfLengthArriveWholeAcrossEveryWrapPosition)
{
    RingMemory memory(1200);
    for (const unsigned int length : {0u, 1u, 2u, 4u, 8u, 16u, 17u, 274u, 275u, 570u}) {
        for (unsigned int start = 0; start <= memory.m_size; ++start) {
            memory.setIndices(start, start);
            WdbCircularBuffer ring = memory.ring();
            const std::string value = makeValue(length, start);
            ASSERT_TRUE(put(ring, start, value));
            const unsigned int end = start + length + 24;
            const unsigned int next = end > memory.m_size ? end - memory.m_size : end;
            ASSERT_EQ(memory.all().substr(0, 4), littleEndian(next, 4));
            ASSERT_EQ(take(ring), packet(start, value)) << length << " bytes at " << start;
        }
    }
    EXPECT_TRUE(memory.isTailUntouched());
}

// The producer's copy of the read index is out of date most of the time here, and the consumer's
// side empties the ring now and then.
TEST(Ring, randomTrafficThroughASmallRingComesOutByteForByte)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937 engine(Tracewell::seeded(seed));
    const auto random = [&] { return static_cast<unsigned int>(engine()); };
    int refusals = 0;
    for (unsigned int size = 60; size < 130; ++size) {
        RingMemory memory(size);
        WdbCircularBuffer producer = memory.ring(true);
        WdbCircularBuffer consumer = memory.ring();
        std::string expected;
        for (int step = 0; step < 3000; ++step) {
            const unsigned int action = random() % 100;
            if (action < 70) {
                const std::string value = makeValue(random() % (size / 2 - 24), random());
                const std::string before = memory.all();
                if (put(producer, step, value)) {
                    expected += packet(step, value);
                } else {
                    ++refusals;
                    ASSERT_GE(expected.size(), size / 2) << "less than half is always free";
                    ASSERT_EQ(memory.all(), before);
                }
                continue;
            }
            if (action < 99) {
                ASSERT_EQ(take(consumer), expected);
            } else {
                consumer.clear();
            }
            expected.clear();
        }
        ASSERT_TRUE(memory.isTailUntouched());
    }
    EXPECT_GT(refusals, 1000);
}

TEST(Ring, indicesOutsideTheAreaAndPacketsOfHalfTheRingAreRefused)
{
    RingMemory memory(200);
    for (const auto& indices : {std::pair(201u, 0u), {0u, 201u}, {~0u, ~0u}, {1u << 31, 10u}}) {
        memory.setIndices(indices.first, indices.second);
        const std::string before = memory.all();
        WdbCircularBuffer ring = memory.ring();
        EXPECT_FALSE(put(ring, 1, "abc"));
        EXPECT_EQ(take(ring), "");
        EXPECT_EQ(memory.all(), before);
    }
    WdbCircularBuffer ring = memory.ring(true);
    EXPECT_TRUE(put(ring, 1, makeValue(99 - 24, 0)));
    EXPECT_FALSE(put(ring, 1, makeValue(100 - 24, 0)));
    for (const unsigned int length : {0xffffffffu, 0xffffffe8u, 0xffffffe7u, 0x80000000u}) {
        WdbLivePacketContainer change;
        change.setData(1, length, 2, nullptr);
        EXPECT_FALSE(ring.putPacket(change)) << length;
        EXPECT_FALSE(ring.putPacket(WdbLivePacket(length))) << length;
    }
    EXPECT_EQ(memory.all().substr(0, 8), littleEndian(99, 8));
}

TEST(LivePacket, testPatternRunsThroughTheAlphabetAndBeginsAgain)
{
    const std::unique_ptr<WdbLivePacket> packet(new (30u) WdbLivePacket(30));
    std::ostringstream os;
    packet->populatePacket('x', os, false);
    EXPECT_EQ(std::string(packet->getPayload(), 30), "xyzabcdefghijklmnopqrstuvwxyza");
    const std::unique_ptr<WdbLivePacket> shortPacket(new (3u) WdbLivePacket(3));
    shortPacket->populatePacket('y', os, true);
    os << 17;
    EXPECT_EQ(os.str(), "Bytes 7: 3 79 7a 61 \n17");
}

using Lengths = std::vector<unsigned int>;

/// Lengths of the pieces, which must make up the whole.
Lengths split(unsigned int length, unsigned int maxSize)
{
    const std::vector<unsigned char> value(length + 1);
    WdbLivePacketContainer change;
    change.setData(5, length, 1000, value.data());
    std::list<WdbLivePacketContainer> pieces;
    change.splitContainer(pieces, maxSize);
    Lengths lengths;
    unsigned int done = 0;
    for (const WdbLivePacketContainer& piece : pieces) {
        EXPECT_TRUE(piece.getTime() == 5 && piece.getAddress() == 1000 + done &&
                    piece.getValue() == value.data() + done);
        EXPECT_TRUE(piece.getLength() + 24 <= maxSize || maxSize < 48);
        lengths.push_back(piece.getLength());
        done += piece.getLength();
    }
    EXPECT_TRUE(done == length || lengths.empty());
    return lengths;
}

TEST(LivePacketContainer, splitsIntoPiecesOfAboutHalfTheLimit)
{
    EXPECT_EQ(split(274, 299), Lengths{});
    EXPECT_EQ(split(275, 299), (Lengths{137, 138}));
    EXPECT_EQ(split(575, 299), (Lengths{95, 95, 95, 95, 95, 100}));
    EXPECT_EQ(split(19071, 299).back(), 275u);
    EXPECT_EQ(split(1000, 24), Lengths{});
    EXPECT_EQ(split(3, 26), (Lengths{1, 1, 1}));
    WdbLivePacketContainer huge;
    huge.setData(5, 0xffffffff, 0, nullptr);
    std::list<WdbLivePacketContainer> none;
    huge.splitContainer(none, 299);
    EXPECT_TRUE(none.empty());
}

std::string event(unsigned int numBytes, long long address, unsigned int length,
                  const std::string& value)
{
    return halfWords(numBytes) + words(9, address) + halfWords(length) + value;
}

TEST(PacketWalk, givesSoundPacketsAndStopsForGoodAtTheFirstThatCannotBeOne)
{
    constexpr unsigned int kLongest = 10;
    const std::string sound =
        event(22, 7, 2, "ab") + event(20, 0, 0, "") + littleEndian(8, 4) + littleEndian(~2ull, 8);
    const std::pair<std::string, std::string> damages[] = {
        {"abc", "cut off after 3 bytes"},
        {littleEndian(0, 4), "packet of 0 bytes, which is neither"},
        {littleEndian(19, 4) + std::string(19, 'x'), "packet of 19 bytes, which is neither"},
        {littleEndian(8, 4) + "1234567", "of which only 7 have come"},
        {event(24, 7, 4, "abc"), "of which only 23 have come"},
        {littleEndian(0xffffffff, 4) + std::string(30, 'x'), "packet of 4294967295 bytes"},
        {event(22, 7, 3, "ab"), "claims a value of 3 bytes"},
        {event(20, 7, 0xfffffff0, ""), "claims a value of 4294967280 bytes"},
        {event(31, 7, 11, "0123456789a"), "longer than the 10 bytes"},
        {event(22, -1, 2, "ab"), "negative address -1"},
    };
    for (const auto& [damage, text] : damages) {
        SCOPED_TRACE(text);
        // A buffer of exactly this size, so that a sanitizer sees a step too far.
        std::vector<char> bytes(sound.begin(), sound.end());
        bytes.insert(bytes.end(), damage.begin(), damage.end());
        PacketWalk walk(bytes.data(), static_cast<unsigned int>(bytes.size()), kLongest);
        ASSERT_EQ(walk.next(), Kind::Event);
        EXPECT_EQ(walk.getEvent().getStartAddress(), 7);
        ASSERT_EQ(walk.next(), Kind::Event);
        ASSERT_EQ(walk.next(), Kind::TimeMark);
        EXPECT_EQ(walk.getTimeMark(), -3);
        EXPECT_EQ(walk.next(), Kind::Damaged);
        EXPECT_EQ(walk.next(), Kind::Damaged);
        EXPECT_THAT(walk.describeDamage(),
                    HasSubstr("at byte " + std::to_string(sound.size()) + " of"));
        EXPECT_THAT(walk.describeDamage(), HasSubstr(text));
    }
}

} // namespace
} // namespace Tracewell
