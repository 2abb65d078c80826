// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SharedMemoryRegion.h"
#include "ThreadSafety.h"
#include "TracewellExport.h"
#include "WdbCircularBuffer.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace Tracewell {

/// One side of a live channel: its ring with waiting and a way to stop. Whoever waits tries 100
/// times and then sleeps 10 ms, for as long as it takes. While data flows the consumer spaces its
/// tries, some 50 to 250 microseconds apart, since every look at the ring takes the producer's
/// cache line away.
///
/// The puts belong to one thread at a time, getPackets to one thread; the rest may be called by any
/// thread. Without a region every operation behaves as after shutDown.
class TRACEWELL_API WdbSharedMemMgr
{
public:
    static constexpr unsigned int kRingSize = 8192000;

    /// The creator comes first. See SharedMemoryRegion for the channel's name and for failures.
    WdbSharedMemMgr(bool create, const std::string& path, int channel);
    /// Whether a running producer has created the channel, so that it could be opened.
    static bool isOffered(const std::string& path, int channel)
    {
        return SharedMemoryRegion::isOffered(kRingSize, path, channel);
    }
    /// Whether one has, and a running consumer has opened it.
    static bool isTaken(const std::string& path, int channel)
    {
        return SharedMemoryRegion::isTaken(kRingSize, path, channel);
    }
    WdbSharedMemMgr(const WdbSharedMemMgr&) = delete;
    WdbSharedMemMgr& operator=(const WdbSharedMemMgr&) = delete;
    ~WdbSharedMemMgr();

    /// Waits until there are bytes and takes all of them; `buffer` has room for kRingSize. False
    /// after shutDown, restart or stopReading, even when the ring holds something.
    bool getPackets(char* buffer, unsigned int& count);

    // False after shutDown, when the wait hook gives up, and for a packet that the ring could never
    // hold.

    bool putPacket(const WdbLivePacketContainer* change)
    {
        if (m_shutDown.load(std::memory_order_relaxed)) {
            return false;
        }
        return m_ring.putPacket(*change) || waitToPut(*change, change->getLength() + 24ull);
    }
    /// A packet with this payload, of at most 8 bytes; false for more.
    bool putPacket(const char* data, unsigned int count);
    bool putPacketMarkTime(long long time);
    /// Asked by a producer that has tried 100 times, before it sleeps: false gives up. An empty one
    /// never does. Of the producer's thread.
    void setWaitHook(std::function<bool()> hook) { m_waitHook = std::move(hook); }

    /// The producer's: empties the ring, by both indices. A consumer that is in the ring at that
    /// moment drops what it has taken.
    void clear();
    /// The consumer's: like stopReading, and drops what is in the ring as soon as getPackets has
    /// left it. A producer may go on meanwhile.
    void restart();
    /// Makes getPackets answer false and leaves the ring as it is.
    void stopReading();
    void shutDown();
    /// Ends the effect of shutDown, restart and stopReading. A consumer whose region was replaced
    /// by that of a new producer takes the new one, unless the one it has still holds something,
    /// other than the end of what restart has dropped: its producer has seen a consumer and counts
    /// on it. Nobody may be waiting.
    void prepareForStart();
    /// Sleeps for `ticks` times 10 ms.
    void sleepMem(int ticks);

    bool isMapped() const;
    /// Whether a process holds the other side of the channel now.
    bool isPeerPresent() const;
    /// The consumer's: whether the ring is empty and the thread that called getPackets is done with
    /// what it got, since it has called again or was told to stop.
    bool isDrained() const;
    /// Whether an index outside of the ring was seen, and told of: nothing could pass.
    bool sawIndexOutside() const { return m_isOutsideTold; }
    /// The consumer's: bytes that have come through the ring in all. `stored` were taken, and the
    /// thread that called getPackets is done with them; `sent` counts what lies in the ring too.
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const;

private:
    class Pace;

    template <class Packet> bool waitToPut(const Packet& packet, unsigned long long size);
    bool isLeftEmpty() const TRACEWELL_REQUIRES(m_ringMutex);
    void tellIndexOutside();
    bool isConsumerStopped() const { return m_shutDown || m_restart; }

    std::atomic<bool> m_shutDown{false};
    std::atomic<bool> m_restart{false};
    WdbCircularBuffer m_ring;
    /// Held while the consumer is in the ring and while region and ring are exchanged or emptied.
    mutable Mutex m_ringMutex;
    std::unique_ptr<SharedMemoryRegion> m_region TRACEWELL_GUARDED_BY(m_ringMutex);
    /// How the consumer waits between two looks.
    std::unique_ptr<Pace> m_pace;
    /// A batch was handed out and getPackets not called since.
    std::atomic<bool> m_isBatchOut{false};
    /// Where the ring was left by restart; 0 when that tells nothing.
    unsigned int m_readIndexAtRestart TRACEWELL_GUARDED_BY(m_ringMutex) = 0;
    /// Bytes of all batches and of the latest one.
    unsigned long long m_bytesTaken TRACEWELL_GUARDED_BY(m_ringMutex) = 0;
    unsigned int m_batchSize TRACEWELL_GUARDED_BY(m_ringMutex) = 0;
    std::function<bool()> m_waitHook;
    /// Names the channel in messages.
    std::string m_description;
    std::atomic<bool> m_isOutsideTold{false};
};

} // namespace Tracewell
