// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"
#include "ThreadSafety.h"
#include "TracewellExport.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <string>

namespace Tracewell {

template <class Writer> class EventTracing;
class WdbLivePacketContainer;
class WdbSharedMemMgr;

/// Sends each change through shared memory to a viewer in another process, a WdbLiveReader, and
/// writes no file. See IWdbWriter for the contract of the operations; all but the setters do
/// nothing while the writer is closed, or when its channel could not be made.
///
/// When the viewer is slow the ring runs full and a trace call or a mark waits for room, in the
/// caller's thread, for as long as it takes: nothing is dropped. Without a viewer it waits for one.
/// Whoever must not wait for ever sets a wait hook.
///
/// The trace functions and open belong to the simulation's thread. markCurrentTime, restart, close
/// and the questions may come from any other: they stand between two changes.
///
/// The trace functions go to the writer that was constructed last and still exists.
class TRACEWELL_API WdbLiveWriter : public IWdbWriter
{
public:
    WdbLiveWriter();
    WdbLiveWriter(const WdbLiveWriter&) = delete;
    WdbLiveWriter& operator=(const WdbLiveWriter&) = delete;
    /// Closes the channel.
    ~WdbLiveWriter() override;

    /// Creates the channel of number `option` for the snapshot; `wdbFile` has no meaning. A mode
    /// other than kLiveMode ends the process with status 1. A failure is told in lines on the
    /// standard streams and by isOpen. Closes an open channel first.
    void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
              int option) override;
    TraceVhdlFunc getTraceVhdlFunc() override;
    /// Says on the standard output that it was called, and sends nothing.
    TraceVhdlFuncScalar getTraceVhdlFuncScalar() override;
    TraceVlogFunc getTraceVlogFunc() override;
    /// Neither this one nor the next marks the time.
    TraceScObjectFunc getTraceScObjectFunc() override;
    TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override;
    /// Always 0: texts do not travel.
    long long addString(const std::string& text) override;
    /// Takes the channel's name away. A viewer that is attached still gets what was sent. Whoever
    /// waits for room gives up.
    void close() override;
    /// Empties the ring. The viewer has called its own restart before, and relaunches behind it.
    /// Whoever waits for room gives up: that change belongs to what is dropped.
    void restart() override;
    /// Does nothing, and neither do the setters below setBaseDPOffset.
    void setMaxTraceableSize(unsigned int size) override;
    /// Everything traced before is in the viewer's database when this mark has come through.
    void markCurrentTime(long long time) override;
    void setBaseDPOffset(long long offset) override { m_baseOffset = offset; }
    void setApplication(const std::string& application) override;
    void setAddressSize(long long size) override;
    void setBucketDivision(unsigned int division) override;
    void setFilterRepeatedValue(bool filter) override;

    /// Asked by whoever finds the ring full, about every 10 ms, on the thread that waits and with
    /// nothing of this writer to be called but isViewerPresent. True: wait on. False: the change or
    /// mark is given up and the call returns. An empty hook waits for ever.
    using WaitHook = std::function<bool()>;
    /// Asked on the simulation's thread, while it waits for room.
    void setWaitHook(WaitHook hook);
    /// Whether there is a channel.
    bool isOpen() const;
    /// Whether a viewer is attached to the channel now. Asks the system, some microseconds. A
    /// viewer that dies is noticed, however it ends.
    bool isViewerPresent() const;

private:
    friend class EventTracing<WdbLiveWriter>;

    static WdbLiveWriter* getOpenWriter() { return s_pWriter; }
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value);
    void tellRefusal(long long address);
    void sendInPieces(const WdbLivePacketContainer& change);
    void writeVector(long long time, long long address, const unsigned char* vector,
                     const unsigned char* value, unsigned int firstBit, unsigned int endBit);
    static void writeScalar();
    void finishScObject(long long /*time*/) {}
    void put(const WdbLivePacketContainer& change);
    void standAside() TRACEWELL_EXCLUDES(m_mutex);
    void announceEnd() TRACEWELL_EXCLUDES(m_mutex);
    void stopWaiting() TRACEWELL_EXCLUDES(m_managerMutex);
    template <class Action> void betweenChanges(const Action& action) TRACEWELL_EXCLUDES(m_mutex);

    /// The writer constructed last; each knows the one before it.
    static WdbLiveWriter* s_pWriter;

    // The simulation's thread raises m_writing and then looks at m_marking; whoever wants to stand
    // between two changes raises m_marking and then looks at m_writing. Both agree on one order of
    // the four steps, so one of them sees the other. m_marking counts those who want to.
    std::atomic<bool> m_writing{false};
    std::atomic<unsigned int> m_marking{0};
    /// Set between changes only, and read by the simulation's thread inside of one. Null while
    /// closed.
    std::unique_ptr<WdbSharedMemMgr> m_manager;
    long long m_baseOffset = 0;

    /// Held by who stands between two changes.
    mutable Mutex m_mutex;
    std::condition_variable m_changed;
    /// The simulation's thread waits.
    bool m_standsAside TRACEWELL_GUARDED_BY(m_mutex) = false;
    /// Guards the pointer m_manager for those who only ask, and for close, which must get at it
    /// while a change waits for room. Taken inside m_mutex.
    mutable Mutex m_managerMutex;
    WaitHook m_waitHook;
    /// A change at a negative address was told of. The simulation's thread's.
    bool m_isRefusalTold = false;
    WdbLiveWriter* m_previousWriter = nullptr;
};

} // namespace Tracewell

/// The one live writer of the process.
extern "C" TRACEWELL_API Tracewell::IWdbWriter* qtracewell_getWdbWriter();
