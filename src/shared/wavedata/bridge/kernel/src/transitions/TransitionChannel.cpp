// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionChannel.h"

#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread_only.hpp>

#include <cstring>
#include <iostream>

namespace Tracewell {

namespace {

using TimeMarkLock = CheckedLock<boost::mutex, boost::unique_lock<boost::mutex>>;

constexpr int kRingBytes = 2'400'000;
constexpr int kPointerBytes = 16;
/// No ring holds more; bounds the last draining beside a peer that goes on sending.
constexpr std::size_t kRingSlots = kRingBytes / SharedMemory::kRecordSize;
constexpr const char* kRingPrefix = "Local\\QSimTransitionMem";
constexpr const char* kPointerPrefix = "Local\\QSimReadWritePtr";

constexpr int kTriesBeforeSleep = 100;
constexpr auto kSleep = boost::chrono::milliseconds(10);
/// The end of a change is announced to who waits for it, but may cross with the wish to wait: a
/// full fence that would rule this out costs each transition as much as the rest of it.
constexpr auto kLookAgain = boost::chrono::milliseconds(1);
/// So many slots are taken from the ring in one turn.
constexpr std::size_t kSlotsOfTurn = 64;
/// A viewer's wait ends after so many seconds without a transition; the first that comes counts
/// as one of them.
constexpr int kQuietSeconds = 3;

std::string pointerPrefix(int processId)
{
    return kPointerPrefix + std::to_string(processId);
}

/// Adds to a count that only one thread changes.
void add(std::atomic<unsigned long long>& count, unsigned long long more)
{
    count.store(count.load(std::memory_order_relaxed) + more, std::memory_order_relaxed);
}

/// Bytes of the slot's payload that the type uses, or -1 for one without a form in the ring.
int payloadBytes(std::uint32_t type)
{
    switch (type) {
    case ValueNone:
        return 0;
    case ValueByte:
    case ValueBit:
    case ValueVlog:
    case ValueStdLogic:
        return 1;
    case ValueInt32:
        return 4;
    case ValueInt64:
    case ValueDouble:
        return 8;
    default:
        return -1;
    }
}

/// Leaves `value` alone when the type has no form in the ring.
bool readValue(const TransitionSlot& slot, Value& value)
{
    const int bytes = payloadBytes(slot.type);
    if (bytes < 0) {
        return false;
    }
    unsigned long long bits = 0;
    std::memcpy(&bits, slot.payload, static_cast<std::size_t>(bytes));
    if (bytes == 0) {
        value.clear();
    } else {
        value.setBits(static_cast<ValueType>(slot.type), bits);
    }
    return true;
}

/// The place keeps the payload bytes that are not written.
void writeSlot(char* place, long long time, std::uint32_t id, const Value& value)
{
    TransitionSlot slot;
    slot.time = time;
    slot.id = id;
    slot.type = value.getType();
    const int bytes = payloadBytes(slot.type);
    const unsigned long long bits = bytes > 0 ? value.getBits() : 0;
    std::memcpy(slot.payload, &bits, sizeof bits);
    std::memcpy(place, &slot,
                offsetof(TransitionSlot, payload) +
                    static_cast<std::size_t>(bytes > 0 ? bytes : 0));
}

} // namespace

TransitionChannel::TransitionChannel(TransitionStore& store, TransitionCapture& capture,
                                     const std::string& path, int processId)
    : m_store(store), m_capture(capture),
      m_description("transition channel " + std::to_string(processId) + " of " + path)
{
    if (!isFeeder() && !isReader()) {
        return;
    }
    m_ring = std::make_unique<SharedMemory>(
        isFeeder() ? SharedMemory::kCreate : SharedMemory::kOpen, path, 0, kRingBytes,
        kRingPrefix + std::to_string(processId), kPointerBytes, pointerPrefix(processId));
    m_taken.resize(kSlotsOfTurn);
}

TransitionChannel::~TransitionChannel()
{
    stop(Rest::Leave);
}

void TransitionChannel::start()
{
    m_shutdownRequested = false;
    if (isReader() && isChannelOpen()) {
        m_reader.start([this] { readTransFromSharedMem(); });
    }
}

void TransitionChannel::stop(Rest rest)
{
    const bool wasRunning = !m_shutdownRequested.exchange(true);
    {
        const TimeMarkLock lock(m_timeMarkMutex);
        m_timeMark.notify_all();
    }
    m_reader.join();
    if (!wasRunning || !isReader() || rest == Rest::Leave) {
        return;
    }
    for (std::size_t stored = 0; stored < kRingSlots;) {
        const std::size_t count = takeSlots();
        if (count == 0) {
            break;
        }
        stored += count;
    }
}

void TransitionChannel::clear()
{
    if (isFeeder()) {
        betweenTransitions([this] { m_ring->clearPointers(); });
    }
}

/// Calls `get` until it gives something: the thread is kept off the scheduler when the other side
/// is slower for a moment only. Gives nothing on shutdown, without a channel, and when the wait
/// hook says so.
template <class Get> auto TransitionChannel::await(Get get) -> decltype(get())
{
    for (;;) {
        for (int i = 0; i < kTriesBeforeSleep; ++i) {
            if (m_shutdownRequested.load(std::memory_order_relaxed) || !isChannelOpen()) {
                return {};
            }
            if (auto result = get()) {
                return result;
            }
        }
        tellIndexOutside();
        boost::this_thread::sleep_for(kSleep);
        if (m_waitHook && !m_waitHook()) {
            return {};
        }
    }
}

char* TransitionChannel::getEmptySharedMemBlock()
{
    return isFeeder() ? await([this] { return m_ring->getEmptyBlock(); }) : nullptr;
}

char* TransitionChannel::getNextSharedMemBlock()
{
    if (!isReader()) {
        return nullptr;
    }
    return await([this] {
        const MutexLock lock(m_readMutex);
        return m_ring->getNextBlock();
    });
}

void TransitionChannel::writeTransToSharedMem(bool alreadyLocked, std::uint32_t id, long long time,
                                              const Value& value)
{
    if (!isFeeder()) {
        return;
    }
    if (!alreadyLocked) {
        m_writerBusy.store(true);
        if (m_marking.load() != 0) {
            standAside();
        }
    }
    if (char* const place = getEmptySharedMemBlock()) {
        writeSlot(place, time, id, value);
        // A text has no form in the ring: its slot is given to the next transition.
        if (value.getType() != ValueString) {
            m_ring->commitWrite();
        }
    }
    if (!alreadyLocked) {
        m_writerBusy.store(false, std::memory_order_release);
        if (m_marking.load(std::memory_order_relaxed) != 0) {
            announceEnd();
        }
    }
}

void TransitionChannel::standAside()
{
    TimeMarkLock lock(m_timeMarkMutex);
    m_writerBusy = false;
    m_timeMark.notify_all();
    while (m_marking.load() != 0) {
        lock.wait(m_timeMark);
    }
    m_writerBusy = true;
}

void TransitionChannel::announceEnd()
{
    const TimeMarkLock lock(m_timeMarkMutex);
    m_timeMark.notify_all();
}

/// Runs `action` while no transition is on its way into the ring and none begins. Several callers
/// take turns by the mutex.
template <class Action> void TransitionChannel::betweenTransitions(const Action& action)
{
    m_marking.fetch_add(1);
    TimeMarkLock lock(m_timeMarkMutex);
    while (m_writerBusy.load()) {
        lock.waitFor(m_timeMark, kLookAgain);
    }
    action();
    m_marking.fetch_sub(1);
    m_timeMark.notify_all();
}

bool TransitionChannel::addTimeMarkToDB(long long time)
{
    if (!isFeeder()) {
        return true;
    }
    betweenTransitions([&] {
        if (char* const place = getEmptySharedMemBlock()) {
            writeSlot(place, time, DataBase::kTimeMarkId, Value());
            m_ring->commitWrite();
        }
    });
    return true;
}

void TransitionChannel::readTransFromSharedMem()
{
    for (int misses = 0; !m_shutdownRequested.load(std::memory_order_relaxed);) {
        if (takeSlots() > 0 || ++misses < kTriesBeforeSleep) {
            continue;
        }
        tellIndexOutside();
        boost::this_thread::sleep_for(kSleep);
        misses = 0;
    }
}

/// Stores what there is, up to one turn, and gives the number.
std::size_t TransitionChannel::takeSlots()
{
    std::size_t count = 0;
    {
        const MutexLock lock(m_readMutex);
        while (count < m_taken.size() && takeSlot(m_taken[count])) {
            ++count;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        store(m_taken[i]);
    }
    if (count > 0) {
        add(m_storedSlots, count);
    }
    return count;
}

bool TransitionChannel::takeSlot(TransitionSlot& slot)
{
    const char* const place = isChannelOpen() ? m_ring->getNextBlock() : nullptr;
    if (!place) {
        return false;
    }
    std::memcpy(&slot, place, sizeof slot);
    return m_ring->advanceRead();
}

void TransitionChannel::store(const TransitionSlot& slot)
{
    if (slot.time < 0) {
        m_store.lastNegativeTimeId.store(slot.id, std::memory_order_relaxed);
        refuse(slot, "a time below 0");
        return;
    }
    if (slot.id == DataBase::kTimeMarkId) {
        m_store.latestTime = slot.time;
        const TimeMarkLock lock(m_timeMarkMutex);
        m_markTimePending = false;
        m_timeMark.notify_all();
        return;
    }
    Value value;
    if (!readValue(slot, value) || value.getType() == ValueNone) {
        refuse(slot, "a value of a kind that does not travel");
        return;
    }
    const MutexLock lock(m_store.stripe(slot.id));
    if (const char* const fault = m_capture.findFault(slot.id, slot.time, value.getType())) {
        refuse(slot, fault);
        return;
    }
    m_hasMoreData = true;
    add(m_storedTransitions, 1);
    const char code = static_cast<char>(value.getByte());
    if (slot.type == ValueVlog) {
        m_capture.saveVlogTransInDB(slot.id, slot.time, code);
    } else if (slot.type == ValueStdLogic) {
        m_capture.saveVhdlStdLogicTransInDB(slot.id, slot.time, code);
    } else {
        m_capture.saveTransInDB(slot.id, slot.time, value);
    }
}

/// One line tells of all: a peer that sends one such slot may send many.
void TransitionChannel::refuse(const TransitionSlot& slot, const char* fault)
{
    if (m_refusedSlots.load(std::memory_order_relaxed) == 0) {
        std::cerr << "tracewell: " + m_description + ": object " + std::to_string(slot.id) +
                         " was sent with " + fault + " (time " + std::to_string(slot.time) +
                         ", kind " + std::to_string(slot.type) +
                         "); it is left out, and so is all that follows of this sort; mend the "
                         "simulation that sends it\n"
                  << std::flush;
    }
    add(m_refusedSlots, 1);
}

void TransitionChannel::tellIndexOutside()
{
    if (!m_ring->hasIndexOutside() || m_isOutsideTold.exchange(true)) {
        return;
    }
    std::cerr << "tracewell: " + m_description +
                     ": an index of the ring lies outside of it or between two records, so that "
                     "nothing can pass; end both sides and start again\n"
              << std::flush;
}

bool TransitionChannel::readOneTransition(std::uint32_t& id, long long& time, Value& value)
{
    if (!isReader()) {
        return false;
    }
    TransitionSlot slot;
    const bool isTaken = await([&] {
        const MutexLock lock(m_readMutex);
        return takeSlot(slot);
    });
    if (!isTaken) {
        return false;
    }
    id = slot.id;
    time = slot.time;
    readValue(slot, value);
    return true;
}

void TransitionChannel::markTime(boost::unique_lock<boost::mutex>& lock)
{
    // A Feeder that marks has a flag of its own: the viewer's would stop its adding thread.
    m_markTimePending = true;
    const auto isOver = [this] { return !m_markTimePending || m_shutdownRequested; };
    for (int seconds = 0; seconds < kQuietSeconds;) {
        if (m_timeMark.wait_for(lock, boost::chrono::seconds(1), isOver)) {
            return;
        }
        seconds = m_hasMoreData.exchange(false) ? 1 : seconds + 1;
    }
}

void TransitionChannel::holdForMarkTime()
{
    TimeMarkLock lock(m_timeMarkMutex);
    while ((m_markTimePending || m_marking != 0) && !m_shutdownRequested &&
           (isFeeder() || isChannelOpen())) {
        lock.wait(m_timeMark);
    }
}

void TransitionChannel::capture(bool on)
{
    m_reader.capture(on);
}

// In this order: what is in the ring at the second look is not counted by the first.
void TransitionChannel::getTraffic(unsigned long long& stored, unsigned long long& sent) const
{
    stored = m_storedSlots.load(std::memory_order_relaxed);
    sent = stored + (m_ring ? m_ring->getFilledCount() : 0);
}

bool TransitionChannel::isOffered(const std::string& path, int processId)
{
    return SharedMemory::isOffered(path, kPointerBytes, pointerPrefix(processId));
}

bool TransitionChannel::isTaken(const std::string& path, int processId)
{
    return SharedMemory::isTaken(path, kPointerBytes, pointerPrefix(processId));
}

} // namespace Tracewell
