#pragma once

#include "DataBase.h"
#include "TransitionCapture.h"
#include "TransitionStore.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <string>

namespace Tracewell {

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

    /// Starts the storing thread of a StoringReader.
    void start();
    /// Ends all waits and, in a StoringReader, drains the ring and joins the thread.
    void stop();
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
    bool hasMoreData() { return m_hasMoreData.exchange(false); }
    void capture(bool on);

private:
    TransitionStore& m_store;
    TransitionCapture& m_capture;
    /// Guards the hand-shake.
    boost::mutex m_timeMarkMutex;
    boost::condition_variable m_timeMark;
    std::atomic<bool> m_hasMoreData{false};
};

} // namespace Tracewell
