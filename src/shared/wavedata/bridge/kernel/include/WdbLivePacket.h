// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <cstring>
#include <iosfwd>

namespace Tracewell {

#pragma pack(push, 1)
/// What travels in a live ring: a count, u32, and that many payload bytes. A count of 8 is a time
/// mark, whose payload is the time; 20 and more is a WdbLiveEvent. Like that class it is only ever
/// used where it lies, in a buffer or by `new (numBytes) WdbLivePacket(numBytes)`.
class TRACEWELL_API WdbLivePacket
{
public:
    static constexpr unsigned int kHeaderSize = 4;
    static constexpr unsigned int kTimeMarkBytes = 8;

    /// The payload stays as it is in memory.
    explicit WdbLivePacket(unsigned int numBytes) : m_numBytes(numBytes) {}

    /// Allocates kHeaderSize bytes more than it is told: `numBytes` is the payload's size, not an
    /// object's.
    static void* operator new(std::size_t numBytes);
    static void* operator new(std::size_t /*objectSize*/, unsigned int numBytes)
    {
        return operator new(static_cast<std::size_t>(numBytes));
    }
    static void* operator new(std::size_t /*objectSize*/, void* place) noexcept { return place; }
    static void operator delete(void* packet);
    static void operator delete(void* packet, unsigned int /*numBytes*/)
    {
        operator delete(packet);
    }
    static void operator delete(void* /*packet*/, void* /*place*/) noexcept {}

    static unsigned int size_of_packet(unsigned int numBytes) { return numBytes + kHeaderSize; }
    /// Bytes of the whole packet, its value included.
    unsigned int size_of() const { return size_of_packet(m_numBytes); }
    unsigned int getNumBytes() const { return m_numBytes; }
    char* getPayload() { return reinterpret_cast<char*>(this) + kHeaderSize; }
    const char* getPayload() const { return reinterpret_cast<const char*>(this) + kHeaderSize; }
    /// Copies as many bytes from `data` as the constructor was told.
    void putData(const char* data) { std::memcpy(getPayload(), data, m_numBytes); }

    /// Writes the packet as one line, for who looks for a fault.
    void printPacket(std::ostream& os) const;
    /// Fills the payload with the letters from `seed` on, beginning again at 'a' behind 'z', and
    /// prints the packet if wished.
    void populatePacket(char seed, std::ostream& os, bool print);

private:
    unsigned int m_numBytes;
};
#pragma pack(pop)

static_assert(sizeof(WdbLivePacket) == WdbLivePacket::kHeaderSize);

} // namespace Tracewell
