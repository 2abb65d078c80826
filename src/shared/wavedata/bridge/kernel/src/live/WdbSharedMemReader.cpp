// SPDX-License-Identifier: BSD-3-Clause

#include "WdbSharedMemReader.h"

#include "PacketWalk.h"
#include "WdbEventBlock.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"
#include "WdbSharedMemMgr.h"
#include "platform/SignalMask.h"

#include <chrono>
#include <iostream>
#include <mutex>
#include <new>
#include <thread>

namespace Tracewell {

namespace {

/// Events handed over under one hold of the read-write mutex.
constexpr unsigned int kEventsAHold = 256;
/// The mutex is not fair: who waits for it may find it taken again each time. So long a stretch of
/// holds is followed by a pause in which it comes through.
constexpr auto kLongestStretch = std::chrono::milliseconds(3);
constexpr auto kPauseForOthers = std::chrono::microseconds(50);
/// Without marks the reader's buffer is flushed when so many value bytes lie in it.
constexpr unsigned long long kMostBytesBuffered = 64 * 1024;

} // namespace

/// Hands the packets of the batches over, in order.
class WdbSharedMemReader::Batch
{
public:
    Batch(WdbSharedMemReader& owner, WdbIEventBlockDatabase& database)
        : m_owner(owner), m_reader(*owner.m_reader), m_database(database),
          m_longestValue(WdbEventBlock::getLongestValue(
              database.getEventDatabaseHeader().m_maxEventBlockSize)),
          m_lock(m_reader.getReadWriteMutex(), std::defer_lock)
    {}

    void store(const char* data, unsigned int size)
    {
        PacketWalk walk(data, size, m_longestValue);
        m_stretchBegin = std::chrono::steady_clock::now();
        for (;;) {
            switch (walk.next()) {
            case PacketWalk::Kind::Event:
                storeEvent(walk.getEvent());
                break;
            case PacketWalk::Kind::TimeMark:
                takeTimeMark(walk.getTimeMark());
                break;
            case PacketWalk::Kind::Damaged:
                release();
                if (m_owner.m_damagedBatches++ != 0) {
                    return;
                }
                std::cerr << "tracewell: " + m_owner.m_description + ": " + walk.describeDamage() +
                                 "; the rest of what was received with it is dropped.\n"
                          << std::flush;
                return;
            case PacketWalk::Kind::End:
                release();
                return;
            }
        }
    }

private:
    void storeEvent(const WdbLiveEvent& event)
    {
        if (!m_lock.owns_lock()) {
            m_lock.lock();
        }
        m_reader.addEventBuffered(&event);
        m_database.writeEvent(event.getTime(), event.getStartAddress(), event.getValuelength(),
                              event.getValue());
        m_bytesBuffered += event.getValuelength();
        if (m_bytesBuffered >= kMostBytesBuffered) {
            flush();
        }
        if (++m_eventsHeld == kEventsAHold) {
            release();
            makeRoomForOthers();
        }
    }

    // Between the flush and the mark nobody adds an event, since only this thread does.
    void takeTimeMark(long long time)
    {
        if (!m_lock.owns_lock()) {
            m_lock.lock();
        }
        flush();
        release();
        m_owner.takeTimeMark(time, m_database);
    }

    void flush()
    {
        m_reader.flushEvents();
        m_bytesBuffered = 0;
    }

    void release()
    {
        if (!m_lock.owns_lock()) {
            return;
        }
        if (m_eventsHeld > 0) {
            m_owner.m_newEvents = true;
            m_owner.m_eventCount += m_eventsHeld;
        }
        m_eventsHeld = 0;
        m_lock.unlock();
    }

    void makeRoomForOthers()
    {
        if (std::chrono::steady_clock::now() - m_stretchBegin < kLongestStretch) {
            return;
        }
        std::this_thread::sleep_for(kPauseForOthers);
        m_stretchBegin = std::chrono::steady_clock::now();
    }

    WdbSharedMemReader& m_owner;
    WdbIEventReader& m_reader;
    WdbIEventBlockDatabase& m_database;
    unsigned int m_longestValue;
    std::unique_lock<std::recursive_mutex> m_lock;
    unsigned int m_eventsHeld = 0;
    unsigned long long m_bytesBuffered = 0;
    std::chrono::steady_clock::time_point m_stretchBegin;
};

WdbSharedMemReader::WdbSharedMemReader(const std::string& path, int channel,
                                       WdbIEventReader* reader)
    : m_manager(std::make_unique<WdbSharedMemMgr>(false, path, channel)), m_reader(reader),
      m_description("live channel " + std::to_string(channel) + " of " + path)
{}

WdbSharedMemReader::~WdbSharedMemReader()
{
    shutDown();
    join();
}

void WdbSharedMemReader::start(WdbIEventBlockDatabase* database)
{
    join();
    m_manager->prepareForStart();
    m_eventCount = 0;
    const SignalMask mask;
    m_thread.reset(new (std::nothrow) boost::thread([this, database] { run(database); }));
}

void WdbSharedMemReader::run(WdbIEventBlockDatabase* database)
{
    const std::unique_ptr<char[]> buffer(new char[WdbSharedMemMgr::kRingSize]);
    Batch batch(*this, *database);
    unsigned int count = 0;
    while (m_manager->getPackets(buffer.get(), count)) {
        batch.store(buffer.get(), count);
    }
}

void WdbSharedMemReader::waitForTimeMark(boost::unique_lock<boost::mutex>& lock)
{
    constexpr int kMostSilentSeconds = 3;
    m_timeMarkMutex.assertHeldBy(lock);
    const unsigned long long before = m_timeMarks;
    for (int silentSeconds = 0; silentSeconds < kMostSilentSeconds;) {
        // Whatever wakes it, a whole second passes without a mark.
        const auto end = boost::chrono::steady_clock::now() + boost::chrono::seconds(1);
        while (m_timeMarks == before &&
               m_timeMarkCame.wait_until(lock, end) != boost::cv_status::timeout)
            ;
        if (m_timeMarks != before) {
            return;
        }
        silentSeconds = hasNewEvents() ? 1 : silentSeconds + 1;
    }
}

bool WdbSharedMemReader::hasNewEvents()
{
    return m_newEvents.exchange(false);
}

void WdbSharedMemReader::restart()
{
    m_manager->restart();
}

unsigned long long WdbSharedMemReader::getRefusedCount() const
{
    return m_damagedBatches + (m_manager->sawIndexOutside() ? 1 : 0);
}

void WdbSharedMemReader::shutDown()
{
    m_manager->shutDown();
}

void WdbSharedMemReader::stop()
{
    m_manager->stopReading();
    join();
}

void WdbSharedMemReader::sleepMem(int ticks)
{
    m_manager->sleepMem(ticks);
}

bool WdbSharedMemReader::isMapped() const
{
    return m_manager->isMapped();
}

bool WdbSharedMemReader::isPeerPresent() const
{
    return m_manager->isPeerPresent();
}

bool WdbSharedMemReader::isDrained() const
{
    return m_manager->isDrained();
}

void WdbSharedMemReader::getTraffic(unsigned long long& stored, unsigned long long& sent) const
{
    m_manager->getTraffic(stored, sent);
}

void WdbSharedMemReader::takeTimeMark(long long time, WdbIEventBlockDatabase& database)
{
    const CheckedLock<boost::mutex> markLock(m_timeMarkMutex);
    {
        const std::lock_guard<std::recursive_mutex> lock(m_reader->getReadWriteMutex());
        database.setLatestTime(time);
    }
    ++m_timeMarks;
    m_timeMarkCame.notify_all();
}

void WdbSharedMemReader::join()
{
    if (m_thread && m_thread->joinable()) {
        m_thread->join();
    }
    m_thread.reset();
}

} // namespace Tracewell
