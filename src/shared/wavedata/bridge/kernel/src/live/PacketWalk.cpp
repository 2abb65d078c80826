// SPDX-License-Identifier: BSD-3-Clause

#include "PacketWalk.h"

namespace Tracewell {

std::string PacketWalk::describeDamage() const
{
    const std::size_t left = m_size - m_offset;
    const std::string place =
        "at byte " + std::to_string(m_offset) + " of " + std::to_string(m_size) + " received: ";
    if (left < WdbLivePacket::kHeaderSize) {
        return place + "a packet that is cut off after " + std::to_string(left) + " bytes";
    }

    const std::size_t numBytes = getNumBytes();
    const std::string counted = place + "a packet of " + std::to_string(numBytes) + " bytes, ";
    if (numBytes != WdbLivePacket::kTimeMarkBytes && numBytes < WdbLiveEvent::kHeaderSize) {
        return counted + "which is neither a time mark nor an event";
    }
    if (numBytes > left - WdbLivePacket::kHeaderSize) {
        return counted + "of which only " + std::to_string(left - WdbLivePacket::kHeaderSize) +
               " have come";
    }
    const WdbLiveEvent& event = getEvent();
    if (event.getValuelength() != numBytes - WdbLiveEvent::kHeaderSize) {
        return counted + "whose event claims a value of " + std::to_string(event.getValuelength()) +
               " bytes";
    }
    if (event.getValuelength() > m_longestValue) {
        return counted + "whose value is longer than the " + std::to_string(m_longestValue) +
               " bytes that a block holds";
    }
    return counted + "whose event has the negative address " +
           std::to_string(event.getStartAddress());
}

} // namespace Tracewell
