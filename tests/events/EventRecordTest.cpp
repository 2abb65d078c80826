#include "EventTestData.h"

#include "WdbLiveEvent.h"

#include <new>
#include <sstream>

namespace Tracewell {
namespace {

/// An event of the addresses 50 to 60 in a block with base 40.
class EventCursor : public ::testing::Test
{
protected:
    std::string m_record = littleEndian(7, 8) + littleEndian(10, 4) + littleEndian(11, 4) +
                           std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\xff", 11);
    WdbEvent m_event{m_record.data(), 40};
};

TEST_F(EventCursor, findsBytesByTheirAddress)
{
    EXPECT_EQ(m_event.getStartAddress(), 50);
    EXPECT_EQ(m_event.sizeofEvent(), 27u);
    EXPECT_EQ(m_event.getValue(60), 0xff);
    EXPECT_EQ(*m_event.getValues(53), 3);
    EXPECT_EQ(m_event.getValueWithStartAddress(50, 51), 1);
    // Beyond 32 bits the place of a byte is found modulo 2^32.
    m_event.setBaseAddress(0x7fffffff00000000);
    EXPECT_EQ(m_event.getStartAddress(), 0x7fffffff0000000a);
    EXPECT_EQ(m_event.getValue(0x7fffffff0000000c), 2);
}

TEST_F(EventCursor, rangeTestsLookAtTheEndsOfTheQuery)
{
    EXPECT_FALSE(m_event.isWithinRange(49));
    EXPECT_TRUE(m_event.isWithinRange(50) && m_event.isWithinRange(60));
    EXPECT_FALSE(m_event.isWithinRange(61));
    EXPECT_TRUE(m_event.isWithinRange(55, 100) && m_event.isWithinRange(45, 6));
    EXPECT_FALSE(m_event.isWithinRange(45, 5));
    EXPECT_FALSE(m_event.isWithinRange(10, 100)) << "encloses the event";
    EXPECT_TRUE(m_event.isWithinRange(1, 3, 3) && !m_event.isWithinRange(1, 3, 4));
}

TEST(LiveEvent, isPackedAndLiesWhereItIsPlaced)
{
    char place[64] = {};
    char* const odd = place + 3;
    WdbLiveEvent* const event = new (static_cast<void*>(odd)) WdbLiveEvent(3);
    EXPECT_EQ(std::string(odd, 20), std::string(16, '\0') + littleEndian(3, 4));
    event->setFields(0x1122334455667788, -2, bytesOf("\x0a\x0b\x0c"));
    EXPECT_EQ(event->sizeofEvent(), 23u);
    EXPECT_EQ(std::string(odd, 24), littleEndian(0x1122334455667788, 8) + littleEndian(~1ull, 8) +
                                        littleEndian(3, 4) + std::string("\x0a\x0b\x0c\x00", 4));
    std::ostringstream os;
    event->dump(os);
    EXPECT_EQ(os.str(), "--WdbLiveEvent::dump()\n  m_pTime = 1234605616436508552\n"
                        "  m_pStartAddress = fffffffffffffffe\n  m_pLength = 3\n"
                        "  m_value = a b c \n");
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
