// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <memory>
#include <string>

namespace Tracewell {

class WdbIEventBlockDatabase;
class WdbIEventReader;
class WdbSharedMemMgr;

/// The consumer's side of a live channel: a thread that drains the ring and is the only one to feed
/// the event database and the reader's buffer.
///
/// Locks: the reader's read-write mutex is held while events are handed over, some hundred at a
/// time, each to the reader and to the database under one hold, so whoever holds it sees both at
/// the same instant. The time-mark mutex orders marks. Who takes both takes the time-mark mutex
/// first.
///
/// The producer is not trusted. A packet that cannot be one ends what is read of its batch: a line
/// on the standard error stream tells what came and where, and the next batch is read as ever.
class TRACEWELL_API WdbSharedMemReader
{
public:
    /// Opens the channel, which must exist. `reader` is not owned and outlasts this.
    WdbSharedMemReader(const std::string& path, int channel, WdbIEventReader* reader);
    WdbSharedMemReader(const WdbSharedMemReader&) = delete;
    WdbSharedMemReader& operator=(const WdbSharedMemReader&) = delete;
    /// Shuts down and joins. Not to be called with one of the two mutexes held; nor are start and
    /// stop.
    ~WdbSharedMemReader();

    /// Starts the thread on `database`, which must outlast it. Joins an earlier thread, which must
    /// have been told to end. A channel whose producer was replaced by a new one is opened anew
    /// once nothing is left in it, or nothing but the end of what restart has dropped.
    void start(WdbIEventBlockDatabase* database);
    /// The thread's body: returns after restart or shutDown.
    void run(WdbIEventBlockDatabase* database);
    /// Waits for the next time mark, after which everything traced before it is in the database;
    /// gives up after three seconds without an event, or two once there were some. `lock` holds the
    /// time-mark mutex.
    void waitForTimeMark(boost::unique_lock<boost::mutex>& lock);
    /// Whether events came since this was last asked.
    bool hasNewEvents();
    /// Makes the thread end by itself and empties the ring.
    void restart();
    void shutDown();
    /// Ends the thread and waits for it: afterwards nobody feeds the database. start works again.
    void stop();
    /// Sleeps for `ticks` times 10 ms.
    void sleepMem(int ticks);

    boost::mutex& getTimeMarkMutex() { return m_timeMarkMutex; }
    bool isMapped() const;
    /// Whether a producer holds the other side of the channel now.
    bool isPeerPresent() const;
    /// Whether all that was sent so far is stored.
    bool isDrained() const;
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const;
    /// Events stored since the last start.
    unsigned long long getEventCount() const { return m_eventCount; }
    /// Batches that made no sense, of which the rest was left out, since construction; the first is
    /// told of on the standard error stream. One more when an index lay outside of the ring.
    unsigned long long getRefusedCount() const;

private:
    class Batch;

    void takeTimeMark(long long time, WdbIEventBlockDatabase& database)
        TRACEWELL_EXCLUDES(m_timeMarkMutex);
    void join();

    std::unique_ptr<WdbSharedMemMgr> m_manager;
    std::unique_ptr<boost::thread> m_thread;
    WdbIEventReader* m_reader;
    std::string m_description;
    std::atomic<bool> m_newEvents{false};
    std::atomic<unsigned long long> m_eventCount{0};
    std::atomic<unsigned long long> m_damagedBatches{0};
    CheckedMutex<boost::mutex> m_timeMarkMutex;
    boost::condition_variable m_timeMarkCame;
    /// How many marks came so far, so that one who waits sees that another has come.
    unsigned long long m_timeMarks TRACEWELL_GUARDED_BY(m_timeMarkMutex) = 0;
};

} // namespace Tracewell
