// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBase.h"
#include "ThreadSafety.h"
#include "TransitionCapture.h"
#include "TransitionStore.h"

#include "SharedMemReader.h"
#include "SharedMemory.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

/// One record of the ring, in native order.
struct TransitionSlot
{
    long long time;
    /// DataBase::kTimeMarkId in a time mark.
    std::uint32_t id;
    /// A ValueType; 0 in a time mark.
    std::uint32_t type;
    /// As many of the first bytes as the type needs; the rest is what was there before.
    unsigned char payload[8];
};

static_assert(sizeof(TransitionSlot) == SharedMemory::kRecordSize);
static_assert(offsetof(TransitionSlot, id) == 8 && offsetof(TransitionSlot, type) == 12 &&
              offsetof(TransitionSlot, payload) == 16);

/// The ring between a Feeder and a StoringReader, and the hand-shake of time marks; the contracts
/// stand at DataBase. In the other modes it has no ring and does nothing.
class TransitionChannel
{
public:
    /// `capture` is called by the storing thread of a StoringReader.
    TransitionChannel(TransitionStore& store, TransitionCapture& capture, const std::string& path,
                      int processId);
    TransitionChannel(const TransitionChannel&) = delete;
    TransitionChannel& operator=(const TransitionChannel&) = delete;
    ~TransitionChannel();

    /// Ends a stop, and starts the storing thread of a StoringReader.
    void start();
    /// What a StoringReader does with what is in the ring when it stops.
    enum class Rest { Store, Leave };
    /// Ends all waits and joins the thread.
    void stop(Rest rest);
    /// Empties the ring of a Feeder.
    void clear();

    void writeTransToSharedMem(bool alreadyLocked, std::uint32_t id, long long time,
                               const Value& value);
    bool addTimeMarkToDB(long long time);
    bool readOneTransition(std::uint32_t& id, long long& time, Value& value);
    char* getEmptySharedMemBlock();
    char* getNextSharedMemBlock();

    void markTime(boost::unique_lock<boost::mutex>& lock);
    void holdForMarkTime();
    boost::mutex& getTimeMarkMutex() { return m_timeMarkMutex; }
    void setWaitHook(std::function<bool()> hook) { m_waitHook = std::move(hook); }
    bool isChannelOpen() const { return m_ring && m_ring->isMapped(); }
    bool isPeerPresent() const { return m_ring && m_ring->isPeerPresent(); }
    bool hasMoreData() { return m_hasMoreData.exchange(false); }
    void capture(bool on);
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const;
    unsigned long long getStoredCount() const
    {
        return m_storedTransitions.load(std::memory_order_relaxed);
    }
    unsigned long long getRefusedCount() const
    {
        return m_refusedSlots.load(std::memory_order_relaxed) + (m_isOutsideTold ? 1 : 0);
    }
    static bool isOffered(const std::string& path, int processId);
    static bool isTaken(const std::string& path, int processId);

private:
    bool isFeeder() const { return m_store.mode == DataBaseMode::Feeder; }
    bool isReader() const { return m_store.mode == DataBaseMode::StoringReader; }
    void standAside() TRACEWELL_EXCLUDES(m_timeMarkMutex);
    void announceEnd() TRACEWELL_EXCLUDES(m_timeMarkMutex);
    template <class Action>
    void betweenTransitions(const Action& action) TRACEWELL_EXCLUDES(m_timeMarkMutex);
    void readTransFromSharedMem();
    std::size_t takeSlots() TRACEWELL_EXCLUDES(m_readMutex);
    bool takeSlot(TransitionSlot& slot) TRACEWELL_REQUIRES(m_readMutex);
    void store(const TransitionSlot& slot);
    void refuse(const TransitionSlot& slot, const char* fault);
    void tellIndexOutside();
    template <class Get> auto await(Get get) -> decltype(get());

    TransitionStore& m_store;
    TransitionCapture& m_capture;
    std::string m_description;
    /// Null in the modes without one.
    std::unique_ptr<SharedMemory> m_ring;
    /// Asked by a Feeder that waits for room; empty waits on.
    std::function<bool()> m_waitHook;

    /// Guards the hand-shake about the latest time.
    CheckedMutex<boost::mutex> m_timeMarkMutex;
    boost::condition_variable m_timeMark;
    // A Feeder's adding thread raises m_writerBusy and then looks at m_marking; whoever wants to
    // stand between two transitions raises m_marking and then looks at m_writerBusy. Both agree on
    // one order of the four steps, so one of them sees the other. m_marking counts those who want.
    std::atomic<bool> m_writerBusy{false};
    std::atomic<unsigned int> m_marking{0};
    /// A viewer of a StoringReader waits for a mark.
    std::atomic<bool> m_markTimePending{false};
    std::atomic<bool> m_hasMoreData{false};
    // Written by the storing thread, or by who stores when that one has ended.
    std::atomic<unsigned long long> m_storedSlots{0};
    std::atomic<unsigned long long> m_storedTransitions{0};
    std::atomic<unsigned long long> m_refusedSlots{0};
    /// An index outside of the ring was seen. By whoever waits.
    std::atomic<bool> m_isOutsideTold{false};
    /// Ends the thread and every wait.
    std::atomic<bool> m_shutdownRequested{false};

    /// Guards the reading end: the storing thread and those who drain by hand take turns.
    Mutex m_readMutex;
    /// What the storing thread took in one turn.
    std::vector<TransitionSlot> m_taken;
    SharedMemReader m_reader;
};

} // namespace Tracewell
