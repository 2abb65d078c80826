// SPDX-License-Identifier: BSD-3-Clause

#include "WdbCircularBuffer.h"

#include "RingSpace.h"
#include "WdbLiveEvent.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

namespace Tracewell {

namespace {

constexpr unsigned int kOverhead = WdbLivePacketContainer::kPacketOverhead;
/// What a packet may have to be put together in on the stack before it wraps.
constexpr unsigned int kScratchSize = 512;

static_assert(kOverhead == WdbLivePacket::kHeaderSize + WdbLiveEvent::kHeaderSize);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the ring's numbers are little-endian");

inline void buildEvent(char* place, const WdbLivePacketContainer& change, unsigned int length,
                       const unsigned char* value)
{
    auto* const packet = new (place) WdbLivePacket(WdbLiveEvent::size_of_event(length));
    auto* const event = new (packet->getPayload()) WdbLiveEvent(length);
    event->setFields(change.getTime(), change.getAddress(), value);
}

/// The commonest lengths as constants, so that their copies are single moves. A change without a
/// value may come with a null pointer.
inline void buildEventPacket(char* place, const WdbLivePacketContainer& change)
{
    const unsigned char* const value = change.getValue();
    switch (change.getLength()) {
    case 0:
        return buildEvent(place, change, 0, reinterpret_cast<const unsigned char*>(place));
    case 1:
        return buildEvent(place, change, 1, value);
    case 4:
        return buildEvent(place, change, 4, value);
    case 8:
        return buildEvent(place, change, 8, value);
    case 16:
        return buildEvent(place, change, 16, value);
    default:
        return buildEvent(place, change, change.getLength(), value);
    }
}

} // namespace

WdbCircularBuffer::WdbCircularBuffer(char* base, unsigned int nominalSize, bool create)
    : m_data(base ? base + kIndexBytes : nullptr),
      m_size(!base || nominalSize < kIndexBytes
                 ? 0
                 : std::min<unsigned int>(nominalSize - kIndexBytes,
                                          std::numeric_limits<std::int32_t>::max())),
      m_half(m_size / 2), m_writeIndex(reinterpret_cast<std::uint32_t*>(base)),
      m_readIndex(m_writeIndex ? m_writeIndex + 1 : nullptr)
{
    if (create) {
        clear();
    } else if (m_readIndex) {
        m_readIndexSeen = loadPeerIndex(m_readIndex);
    }
}

bool WdbCircularBuffer::canRead(unsigned int& readIndex, unsigned int& writeIndex,
                                unsigned int& available) const
{
    const unsigned int read = m_size == 0 ? 0 : loadOwnIndex(m_readIndex);
    const unsigned int write = m_size == 0 ? 0 : loadPeerIndex(m_writeIndex);
    readIndex = read;
    writeIndex = write;
    available = 0;
    if (read <= m_size && write <= m_size && read != write) {
        available = write > read ? write - read : write + (m_size - read);
    }
    return available > 0;
}

bool WdbCircularBuffer::canWrite(unsigned int& writeIndex, unsigned int& nextWrite,
                                 unsigned int count) const
{
    const unsigned int write = m_size == 0 ? 0 : loadOwnIndex(m_writeIndex);
    const unsigned int read = m_size == 0 ? 0 : loadPeerIndex(m_readIndex);
    writeIndex = nextWrite = write;
    return canEverWrite(count) && write <= m_size && read <= m_size &&
           fitsIntoRing(m_size, write, read, count, nextWrite);
}

// The write index comes from the ring each time and not from a copy of our own: the other side may
// have emptied the ring.
inline bool WdbCircularBuffer::reserve(unsigned int count, unsigned int& writeIndex,
                                       unsigned int& nextWrite)
{
    if (!canEverWrite(count)) {
        return false;
    }
    writeIndex = loadOwnIndex(m_writeIndex);
    if (writeIndex > m_size) {
        return false;
    }
    if (m_readIndexSeen <= m_size &&
        fitsIntoRing(m_size, writeIndex, m_readIndexSeen, count, nextWrite)) {
        return true;
    }
    m_readIndexSeen = loadPeerIndex(m_readIndex);
    return m_readIndexSeen <= m_size &&
           fitsIntoRing(m_size, writeIndex, m_readIndexSeen, count, nextWrite);
}

bool WdbCircularBuffer::putPacket(const WdbLivePacket& packet)
{
    unsigned int writeIndex = 0;
    unsigned int nextWrite = 0;
    const unsigned int count = packet.size_of();
    if (packet.getNumBytes() > m_size || !reserve(count, writeIndex, nextWrite)) {
        return false;
    }
    const char* const bytes = reinterpret_cast<const char*>(&packet);
    if (nextWrite > writeIndex) {
        std::memcpy(m_data + writeIndex, bytes, count);
    } else {
        putWrapped(bytes, count, writeIndex);
    }
    publishIndex(m_writeIndex, nextWrite);
    return true;
}

bool WdbCircularBuffer::putPacket(const WdbLivePacketContainer& change)
{
    unsigned int writeIndex = 0;
    unsigned int nextWrite = 0;
    const unsigned int count = change.getLength() + kOverhead;
    if (change.getLength() > m_size || !reserve(count, writeIndex, nextWrite)) {
        return false;
    }
    if (nextWrite > writeIndex) {
        buildEventPacket(m_data + writeIndex, change);
    } else {
        putWrapped(change, count, writeIndex);
    }
    publishIndex(m_writeIndex, nextWrite);
    return true;
}

// The first piece is empty when the write index rests at the area's end.
void WdbCircularBuffer::putWrapped(const char* bytes, unsigned int count, unsigned int writeIndex)
{
    const unsigned int first = m_size - writeIndex;
    std::memcpy(m_data + writeIndex, bytes, first);
    std::memcpy(m_data, bytes + first, count - first);
}

void WdbCircularBuffer::putWrapped(const WdbLivePacketContainer& change, unsigned int count,
                                   unsigned int writeIndex)
{
    char onStack[kScratchSize];
    std::unique_ptr<char[]> onHeap;
    if (count > sizeof onStack) {
        onHeap.reset(new char[count]);
    }
    char* const scratch = onHeap ? onHeap.get() : onStack;
    buildEventPacket(scratch, change);
    putWrapped(scratch, count, writeIndex);
}

bool WdbCircularBuffer::getPackets(void* destination, unsigned int& count)
{
    unsigned int readIndex = 0;
    unsigned int writeIndex = 0;
    if (!canRead(readIndex, writeIndex, count)) {
        return false;
    }
    char* const out = static_cast<char*>(destination);
    if (writeIndex > readIndex) {
        std::memcpy(out, m_data + readIndex, count);
    } else {
        const unsigned int first = m_size - readIndex;
        std::memcpy(out, m_data + readIndex, first);
        std::memcpy(out + first, m_data, writeIndex);
    }
    // An emptying that came meanwhile stays: the bytes may be half overwritten already. It puts the
    // index to 0, where it stands before the first read and never again afterwards.
    if (replaceIndex(m_readIndex, readIndex, writeIndex)) {
        return true;
    }
    count = 0;
    return false;
}

bool WdbCircularBuffer::hasIndexOutside() const
{
    return m_size != 0 &&
           (loadPeerIndex(m_readIndex) > m_size || loadPeerIndex(m_writeIndex) > m_size);
}

void WdbCircularBuffer::discard()
{
    unsigned int readIndex = 0;
    unsigned int writeIndex = 0;
    unsigned int count = 0;
    if (canRead(readIndex, writeIndex, count)) {
        replaceIndex(m_readIndex, readIndex, writeIndex);
    }
}

void WdbCircularBuffer::clear()
{
    if (m_writeIndex) {
        clearIndexPair(m_writeIndex);
    }
    m_readIndexSeen = 0;
}

} // namespace Tracewell
