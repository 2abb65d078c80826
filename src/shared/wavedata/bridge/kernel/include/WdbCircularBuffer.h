// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbLivePacket.h"
#include "WdbLivePacketContainer.h"

#include <cstdint>

namespace Tracewell {

/// A ring of bytes in shared memory for one producer and one consumer:
///
///     0  write index, u32     moved by the producer only
///     4  read index, u32      moved by the consumer only
///     8  packets, back to back, wrapping from the end of the area to its start
///
/// Both indices are offsets into the packets' area, from 0 to its size inclusive; equal indices
/// mean an empty ring. An index is published after the bytes that it covers were written or read.
/// The ring never takes so much that full could be mistaken for empty.
///
/// Owns nothing. The producer's operations belong to one thread at a time, the consumer's too; a
/// side that changes its thread orders the two itself. Neither side trusts the other: an index
/// outside the area makes every operation answer "no", and nothing is ever written or read outside.
class TRACEWELL_API WdbCircularBuffer
{
public:
    static constexpr unsigned int kIndexBytes = 8;

    /// `base` holds `nominalSize` bytes and is aligned to 8. With `create` the ring is emptied. A
    /// null base gives a ring that takes and holds nothing.
    WdbCircularBuffer(char* base, unsigned int nominalSize, bool create);

    /// False when nothing is there to be read; `available` is then 0.
    bool canRead(unsigned int& readIndex, unsigned int& writeIndex, unsigned int& available) const;
    /// Whether a packet of `count` bytes may be written now, and where the next one would go.
    bool canWrite(unsigned int& writeIndex, unsigned int& nextWrite, unsigned int count) const;
    /// Whether a packet of `count` bytes fits into the empty ring: it is less than half of it.
    bool canEverWrite(unsigned long long count) const { return count < m_half; }

    /// Whether an index lies outside of the ring, so that nothing can pass until it is emptied.
    bool hasIndexOutside() const;

    // The producer's. False means that nothing has changed.

    bool putPacket(const WdbLivePacket& packet);
    /// Builds the event packet where it goes.
    bool putPacket(const WdbLivePacketContainer& change);

    // The consumer's.

    /// Copies all that is available to `destination`, which takes up to the area's size, and frees
    /// it. False, with a count of 0, when the ring is empty.
    bool getPackets(void* destination, unsigned int& count);
    /// Frees all that is available, unread. The producer may be at work.
    void discard();

    /// Empties the ring by both indices. The producer must stand still; what a consumer is about to
    /// take at that moment is no answer any more.
    void clear();

private:
    bool reserve(unsigned int count, unsigned int& writeIndex, unsigned int& nextWrite);
    void putWrapped(const char* bytes, unsigned int count, unsigned int writeIndex);
    void putWrapped(const WdbLivePacketContainer& change, unsigned int count,
                    unsigned int writeIndex);

    char* m_data;
    unsigned int m_size;
    unsigned int m_half;
    std::uint32_t* m_writeIndex;
    std::uint32_t* m_readIndex;
    /// The producer's: the read index as it last looked. Where the consumer has moved on since, the
    /// ring merely seems fuller than it is.
    std::uint32_t m_readIndexSeen = 0;
};

} // namespace Tracewell
