// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"

#include "WdbLiveEvent.h"

#include <new>
#include <sstream>

namespace Tracewell {
namespace {

TEST(EventCursor, findsBytesByTheirAddressAndLooksAtTheEndsOfARange)
{
    // The addresses 50 to 60, in a block with base 40.
    std::string record = words(7) + halfWords(10, 11) +
                         std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\xff", 11);
    WdbEvent event{record.data(), 40};
    EXPECT_EQ(event.getStartAddress(), 50);
    EXPECT_EQ(event.sizeofEvent(), 27u);
    EXPECT_EQ(event.getValue(60), 0xff);
    EXPECT_EQ(*event.getValues(53), 3);
    EXPECT_EQ(event.getValueWithStartAddress(50, 51), 1);
    EXPECT_TRUE(event.isWithinRange(50) && event.isWithinRange(60));
    EXPECT_FALSE(event.isWithinRange(49) || event.isWithinRange(61));
    EXPECT_TRUE(event.isWithinRange(55, 100) && event.isWithinRange(45, 6));
    EXPECT_FALSE(event.isWithinRange(45, 5));
    EXPECT_FALSE(event.isWithinRange(10, 100)) << "encloses the event";
    EXPECT_TRUE(event.isWithinRange(1, 3, 3) && !event.isWithinRange(1, 3, 4));
    // Beyond 32 bits the place of a byte is found modulo 2^32.
    event.setBaseAddress(0x7fffffff00000000);
    EXPECT_EQ(event.getValue(0x7fffffff0000000c), 2);
}

TEST(LiveEvent, isPackedAndLiesWhereItIsPlaced)
{
    char place[64] = {};
    char* const odd = place + 3;
    WdbLiveEvent* const event = new (static_cast<void*>(odd)) WdbLiveEvent(3);
    EXPECT_EQ(std::string(odd, 20), std::string(16, '\0') + littleEndian(3, 4));
    event->setFields(0x1122334455667788, -2, bytesOf("\x0a\x0b\x0c"));
    EXPECT_EQ(event->sizeofEvent(), 23u);
    EXPECT_EQ(std::string(odd, 24),
              words(0x1122334455667788, -2) + halfWords(3) + std::string("\x0a\x0b\x0c\x00", 4));
}

TEST(Dumps, showTheFieldsAndLeaveTheStreamsFormatAsItWas)
{
    WdbEventBlock block(128, 16);
    add(block, {1, 33, "A"});
    block.fillHeader();
    std::ostringstream os;
    os << std::hex;
    block.dump(os, true);
    const std::unique_ptr<WdbLiveEvent> event(new (3u) WdbLiveEvent(3));
    event->setFields(26, -2, bytesOf("\x0a\x0b\xff"));
    event->dump(os);
    os << 255;
    EXPECT_EQ(os.str(), "--WdbEventBlock:dump()\n  m_startTime = 1\n  m_timeLength = 0\n"
                        "  numberOfEvents = 1\n--current Event Index = 0\n--WdbEvent::dump()\n"
                        "  m_pTime = 1\n  m_pStartAddress = 21\n  m_pLength = 1\n"
                        "  m_value = 41 \n"
                        "--WdbLiveEvent::dump()\n  m_pTime = 26\n"
                        "  m_pStartAddress = fffffffffffffffe\n  m_pLength = 3\n"
                        "  m_value = a b ff \nff");
}

TEST(LiveEvent, plainNewTakesTheValueLengthAndLeavesRoomForTheHeader)
{
    const std::string value(100, 'v');
    void* const memory = WdbLiveEvent::operator new(value.size());
    WdbLiveEvent* const event = new (memory) WdbLiveEvent(100);
    event->setFields(1, 2, bytesOf(value));
    WdbEventBlock block(1024, 0);
    block.addEvent(event);
    EXPECT_EQ(eventsOf(block), (std::vector<TestEvent>{{1, 2, value}}));
    delete event;
    delete new (5u) WdbLiveEvent(5);
}

} // namespace
} // namespace Tracewell
