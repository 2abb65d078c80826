// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbLiveEvent.h"
#include "WdbLivePacket.h"

#include <cstddef>
#include <cstring>
#include <string>

namespace Tracewell {

/// Goes through the packets of one batch and trusts none of them: nothing outside of the batch is
/// read, and an event is what it says it is, at an address that exists and no longer than allowed.
class PacketWalk
{
public:
    enum class Kind { TimeMark, Event, End, Damaged };

    PacketWalk(const char* data, unsigned int size, unsigned int longestValue)
        : m_data(data), m_size(size), m_longestValue(longestValue)
    {}

    /// Moves on. End and Damaged are for good.
    Kind next()
    {
        m_offset += m_packetSize;
        m_packetSize = 0;
        const std::size_t left = m_size - m_offset;
        if (left == 0) {
            return Kind::End;
        }
        if (left < WdbLivePacket::kHeaderSize) {
            return Kind::Damaged;
        }
        const std::size_t numBytes = getNumBytes();
        if (numBytes > left - WdbLivePacket::kHeaderSize) {
            return Kind::Damaged;
        }
        if (numBytes != WdbLivePacket::kTimeMarkBytes && !isEventSound(numBytes)) {
            return Kind::Damaged;
        }
        m_packetSize = WdbLivePacket::kHeaderSize + numBytes;
        return numBytes == WdbLivePacket::kTimeMarkBytes ? Kind::TimeMark : Kind::Event;
    }

    long long getTimeMark() const
    {
        long long time;
        std::memcpy(&time, getPayload(), sizeof time);
        return time;
    }
    const WdbLiveEvent& getEvent() const
    {
        return *reinterpret_cast<const WdbLiveEvent*>(getPayload());
    }
    /// What is wrong, and where.
    std::string describeDamage() const;

private:
    const char* getPayload() const { return m_data + m_offset + WdbLivePacket::kHeaderSize; }
    unsigned int getNumBytes() const
    {
        unsigned int numBytes;
        std::memcpy(&numBytes, m_data + m_offset, sizeof numBytes);
        return numBytes;
    }
    bool isEventSound(std::size_t numBytes) const
    {
        return numBytes >= WdbLiveEvent::kHeaderSize &&
               numBytes - WdbLiveEvent::kHeaderSize == getEvent().getValuelength() &&
               getEvent().getValuelength() <= m_longestValue && getEvent().getStartAddress() >= 0;
    }

    const char* m_data;
    std::size_t m_size;
    unsigned int m_longestValue;
    std::size_t m_offset = 0;
    std::size_t m_packetSize = 0;
};

} // namespace Tracewell
