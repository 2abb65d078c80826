// SPDX-License-Identifier: BSD-3-Clause

#include "WdbSharedMemMgr.h"

#include "WdbLivePacket.h"

#include <boost/thread/thread.hpp>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace Tracewell {

namespace {

constexpr int kTries = 100;
constexpr long long kTickNanoseconds = 10000000;

void sleepTicks(long long ticks)
{
    boost::this_thread::sleep_for(boost::chrono::nanoseconds(ticks * kTickNanoseconds));
}

/// Tries in bursts until an attempt succeeds or a stop is asked for.
template <class Stop, class Attempt, class Rest>
bool tryUntil(const Stop& isStopped, const Attempt& attempt, const Rest& rest)
{
    for (;;) {
        for (int i = 0; i < kTries; ++i) {
            if (isStopped()) {
                return false;
            }
            if (attempt()) {
                return true;
            }
        }
        if (!rest()) {
            return false;
        }
    }
}

} // namespace

/// How long the consumer stays away from the ring between two looks. Every look makes the producer
/// fetch its cache line back, which costs it as much as some ten to twenty events; so while data
/// flows, many events shall come to a look, and yet none shall wait for a millisecond. The time
/// that the last batch took to be stored counts. After a burst of tries without data the channel is
/// taken for idle, and the next look is the first of a burst without pauses again.
class WdbSharedMemMgr::Pace
{
public:
    /// Waits before the next look at the ring.
    void wait() const
    {
        if (!m_flowing) {
            return;
        }
        const auto left = m_lastLook + m_pause - std::chrono::steady_clock::now();
        if (left > left.zero()) {
            std::this_thread::sleep_for(left);
        }
    }

    /// Behind a look that brought so many bytes.
    void looked(unsigned int bytes)
    {
        if (!m_flowing && bytes == 0) {
            return;
        }
        if (!m_flowing) {
            m_pause = kShortest;
        } else if (bytes < kFew) {
            m_pause = std::min(2 * m_pause, kLongest);
        } else if (bytes > kMany) {
            m_pause = std::max(m_pause / 2, kShortest);
        }
        m_flowing = true;
        m_lastLook = std::chrono::steady_clock::now();
    }

    void becomeIdle() { m_flowing = false; }

private:
    using Time = std::chrono::nanoseconds;

    static constexpr Time kShortest = std::chrono::microseconds(50);
    static constexpr Time kLongest = std::chrono::microseconds(200);
    static constexpr unsigned int kFew = 16 * 1024;
    static constexpr unsigned int kMany = 64 * 1024;

    bool m_flowing = false;
    Time m_pause{};
    std::chrono::steady_clock::time_point m_lastLook;
};

WdbSharedMemMgr::WdbSharedMemMgr(bool create, const std::string& path, int channel)
    : m_ring(nullptr, 0, false),
      m_region(std::make_unique<SharedMemoryRegion>(create ? SharedMemoryRegion::kCreate
                                                           : SharedMemoryRegion::kOpen,
                                                    kRingSize, path, channel)),
      m_pace(std::make_unique<Pace>()),
      m_description("live channel " + std::to_string(channel) + " of " + path)
{
    m_ring = WdbCircularBuffer(m_region->base(), kRingSize, create);
    m_shutDown = !m_region->base();
}

WdbSharedMemMgr::~WdbSharedMemMgr()
{
    shutDown();
}

bool WdbSharedMemMgr::getPackets(char* buffer, unsigned int& count)
{
    count = 0;
    m_isBatchOut = false;
    return tryUntil([this] { return isConsumerStopped(); },
                    [&] {
                        m_pace->wait();
                        const MutexLock lock(m_ringMutex);
                        // A restart that came meanwhile has emptied the ring, or is about to.
                        if (isConsumerStopped()) {
                            return false;
                        }
                        const bool found = m_ring.getPackets(buffer, count);
                        m_pace->looked(count);
                        m_bytesTaken += count;
                        m_batchSize = count;
                        m_isBatchOut = found;
                        return found;
                    },
                    [this] {
                        m_pace->becomeIdle();
                        {
                            const MutexLock lock(m_ringMutex);
                            tellIndexOutside();
                        }
                        sleepTicks(1);
                        return true;
                    });
}

template <class Packet>
bool WdbSharedMemMgr::waitToPut(const Packet& packet, unsigned long long size)
{
    if (!m_ring.canEverWrite(size)) {
        return false;
    }
    return tryUntil([this] { return m_shutDown.load(std::memory_order_relaxed); },
                    [&] { return m_ring.putPacket(packet); },
                    [this] {
                        tellIndexOutside();
                        if (m_waitHook && !m_waitHook()) {
                            return false;
                        }
                        sleepTicks(1);
                        return true;
                    });
}

template TRACEWELL_API bool
WdbSharedMemMgr::waitToPut<WdbLivePacketContainer>(const WdbLivePacketContainer&,
                                                   unsigned long long);

bool WdbSharedMemMgr::putPacket(const char* data, unsigned int count)
{
    alignas(8) char place[WdbLivePacket::kHeaderSize + WdbLivePacket::kTimeMarkBytes];
    if (count > WdbLivePacket::kTimeMarkBytes) {
        return false;
    }
    auto* const packet = new (place) WdbLivePacket(count);
    packet->putData(data);
    return waitToPut(*packet, packet->size_of());
}

bool WdbSharedMemMgr::putPacketMarkTime(long long time)
{
    static_assert(sizeof time == WdbLivePacket::kTimeMarkBytes);
    return putPacket(reinterpret_cast<const char*>(&time), sizeof time);
}

void WdbSharedMemMgr::clear()
{
    const MutexLock lock(m_ringMutex);
    m_ring.clear();
}

void WdbSharedMemMgr::restart()
{
    stopReading();
    const MutexLock lock(m_ringMutex);
    m_ring.discard();
    unsigned int writeIndex = 0;
    unsigned int available = 0;
    m_ring.canRead(m_readIndexAtRestart, writeIndex, available);
}

void WdbSharedMemMgr::stopReading()
{
    m_restart = true;
}

void WdbSharedMemMgr::shutDown()
{
    m_shutDown = true;
}

void WdbSharedMemMgr::prepareForStart()
{
    const MutexLock lock(m_ringMutex);
    // In this order: whoever was replaced has gone and puts nothing more into what it left.
    if (m_region->isReplaced() && isLeftEmpty() && m_region->refresh()) {
        m_ring = WdbCircularBuffer(m_region->base(), kRingSize, false);
    }
    m_readIndexAtRestart = 0;
    m_restart = false;
    m_shutDown = !m_region->base();
}

/// What lies in the ring counts, unless it is the end of a run that restart has given up: then no
/// producer has begun anew there, since that would have put the index to 0.
bool WdbSharedMemMgr::isLeftEmpty() const
{
    unsigned int readIndex = 0;
    unsigned int writeIndex = 0;
    unsigned int available = 0;
    return !m_ring.canRead(readIndex, writeIndex, available) ||
           (readIndex != 0 && readIndex == m_readIndexAtRestart);
}

void WdbSharedMemMgr::tellIndexOutside()
{
    if (!m_ring.hasIndexOutside() || m_isOutsideTold.exchange(true)) {
        return;
    }
    std::cerr
        << "tracewell: " + m_description +
               ": an index of the ring lies outside of it, so that nothing can pass; end both "
               "sides and start again\n"
        << std::flush;
}

void WdbSharedMemMgr::sleepMem(int ticks)
{
    sleepTicks(ticks);
}

bool WdbSharedMemMgr::isMapped() const
{
    const MutexLock lock(m_ringMutex);
    return m_region->base() != nullptr;
}

bool WdbSharedMemMgr::isPeerPresent() const
{
    const MutexLock lock(m_ringMutex);
    return m_region->isPeerPresent();
}

bool WdbSharedMemMgr::isDrained() const
{
    unsigned int readIndex = 0;
    unsigned int writeIndex = 0;
    unsigned int available = 0;
    const MutexLock lock(m_ringMutex);
    return !m_isBatchOut && !m_ring.canRead(readIndex, writeIndex, available);
}

void WdbSharedMemMgr::getTraffic(unsigned long long& stored, unsigned long long& sent) const
{
    unsigned int readIndex = 0;
    unsigned int writeIndex = 0;
    unsigned int available = 0;
    const MutexLock lock(m_ringMutex);
    m_ring.canRead(readIndex, writeIndex, available);
    stored = m_bytesTaken - (m_isBatchOut ? m_batchSize : 0);
    sent = m_bytesTaken + available;
}

} // namespace Tracewell
