// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLiveWriter.h"

#include "EventTracing.h"
#include "OutputFileNames.h"
#include "VectorMerge.h"
#include "WdbLivePacketContainer.h"
#include "WdbSharedMemMgr.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <list>

namespace Tracewell {

namespace {

/// A packet of so many bytes is sent in pieces.
constexpr unsigned int kSplitSize = 299;
constexpr unsigned int kLongestWhole = kSplitSize - 1 - WdbLivePacketContainer::kPacketOverhead;
/// Vectors up to here are merged on the stack: all that go as one packet.
constexpr unsigned int kGroupsOnStack = kLongestWhole / kBytesOfGroup;
/// The end of a change is announced to who waits for it, but may cross with the wish to wait: a
/// full fence that would rule this out costs each change as much as the rest of it.
constexpr auto kLookAgain = std::chrono::milliseconds(1);

} // namespace

WdbLiveWriter* WdbLiveWriter::s_pWriter = nullptr;

WdbLiveWriter::WdbLiveWriter()
{
    EventTracing<WdbLiveWriter>::enter(*this);
}

WdbLiveWriter::~WdbLiveWriter()
{
    close();
    EventTracing<WdbLiveWriter>::leave(*this);
}

void WdbLiveWriter::open(WriterMode mode, const std::string& snapshot, const std::string&,
                         int option)
{
    using ZSIM::OutputFileNames;

    if (mode != kLiveMode) {
        std::exit(1);
    }
    close();
    auto manager = std::make_unique<WdbSharedMemMgr>(
        true, OutputFileNames::getKernelExecDirName(OutputFileNames::getSnapshotName(snapshot), ""),
        option);
    manager->setWaitHook(m_waitHook);
    betweenChanges([&] {
        const MutexLock lock(m_managerMutex);
        m_manager = std::move(manager);
    });
}

long long WdbLiveWriter::addString(const std::string&)
{
    return 0;
}

void WdbLiveWriter::close()
{
    stopWaiting();
    betweenChanges([&] {
        const MutexLock lock(m_managerMutex);
        m_manager.reset();
    });
}

// Who waits for room gives up, as at close: the viewer may take nothing more before this is done.
void WdbLiveWriter::restart()
{
    stopWaiting();
    betweenChanges([&] {
        if (!m_manager) {
            return;
        }
        m_manager->clear();
        m_manager->prepareForStart();
    });
}

void WdbLiveWriter::setMaxTraceableSize(unsigned int) {}

void WdbLiveWriter::markCurrentTime(long long time)
{
    betweenChanges([&] {
        if (m_manager) {
            m_manager->putPacketMarkTime(time);
        }
    });
}

void WdbLiveWriter::setApplication(const std::string&) {}

void WdbLiveWriter::setAddressSize(long long) {}

void WdbLiveWriter::setBucketDivision(unsigned int) {}

void WdbLiveWriter::setFilterRepeatedValue(bool) {}

void WdbLiveWriter::setWaitHook(WaitHook hook)
{
    betweenChanges([&] {
        m_waitHook = std::move(hook);
        if (m_manager) {
            m_manager->setWaitHook(m_waitHook);
        }
    });
}

bool WdbLiveWriter::isOpen() const
{
    const MutexLock lock(m_managerMutex);
    return m_manager && m_manager->isMapped();
}

bool WdbLiveWriter::isViewerPresent() const
{
    const MutexLock lock(m_managerMutex);
    return m_manager && m_manager->isPeerPresent();
}

void WdbLiveWriter::stopWaiting()
{
    const MutexLock lock(m_managerMutex);
    if (m_manager) {
        m_manager->shutDown();
    }
}

/// Runs `action` while no change is on its way into the ring and none begins. Several callers take
/// turns by the mutex.
template <class Action> void WdbLiveWriter::betweenChanges(const Action& action)
{
    m_marking.fetch_add(1);
    MutexLock lock(m_mutex);
    while (m_writing.load()) {
        lock.waitFor(m_changed, kLookAgain);
    }
    action();
    m_marking.fetch_sub(1);
    if (m_standsAside) {
        m_changed.notify_all();
    }
}

inline void WdbLiveWriter::put(const WdbLivePacketContainer& change)
{
    m_writing.store(true);
    if (m_marking.load() != 0) {
        standAside();
    }
    if (m_manager) {
        m_manager->putPacket(&change);
    }
    m_writing.store(false, std::memory_order_release);
    if (m_marking.load(std::memory_order_relaxed) != 0) {
        announceEnd();
    }
}

void WdbLiveWriter::announceEnd()
{
    const MutexLock lock(m_mutex);
    m_changed.notify_all();
}

void WdbLiveWriter::standAside()
{
    MutexLock lock(m_mutex);
    m_writing.store(false);
    m_standsAside = true;
    m_changed.notify_all();
    while (m_marking.load() != 0) {
        lock.wait(m_changed);
    }
    m_standsAside = false;
    m_writing.store(true);
}

inline void WdbLiveWriter::writeEvent(long long time, long long address, unsigned int length,
                                      const unsigned char* value)
{
    // No such place in a data memory; the viewer would take the packet for a damaged one.
    if (address < 0) {
        tellRefusal(address);
        return;
    }
    WdbLivePacketContainer change;
    change.setData(time, length, address, value);
    if (length <= kLongestWhole) {
        put(change);
    } else {
        sendInPieces(change);
    }
}

void WdbLiveWriter::tellRefusal(long long address)
{
    if (m_isRefusalTold) {
        return;
    }
    m_isRefusalTold = true;
    std::cerr
        << "tracewell: a change at the negative address " + std::to_string(address) +
               " is not sent: the base of the data memory must lie before all objects; others "
               "like it are left out without a word\n"
        << std::flush;
}

void WdbLiveWriter::sendInPieces(const WdbLivePacketContainer& change)
{
    std::list<WdbLivePacketContainer> pieces;
    change.splitContainer(pieces, kSplitSize);
    for (const WdbLivePacketContainer& piece : pieces) {
        put(piece);
    }
}

void WdbLiveWriter::writeVector(long long time, long long address, const unsigned char* vector,
                                const unsigned char* value, unsigned int firstBit,
                                unsigned int endBit)
{
    if (endBit <= firstBit) {
        return;
    }
    const VectorSpan span(firstBit, endBit);
    unsigned char onStack[kGroupsOnStack * kBytesOfGroup];
    std::unique_ptr<unsigned char[]> onHeap;
    if (!span.isWholeGroups) {
        if (span.groups > kGroupsOnStack) {
            onHeap.reset(new unsigned char[std::size_t{span.groups} * kBytesOfGroup]);
        }
        unsigned char* const merged = onHeap ? onHeap.get() : onStack;
        mergeVector(vector, value, firstBit, endBit, merged);
        value = merged;
    }
    const unsigned long long place =
        static_cast<unsigned long long>(address) + std::uint64_t{span.firstGroup} * kBytesOfGroup;
    writeEvent(time, static_cast<long long>(place), span.groups * kBytesOfGroup, value);
}

void WdbLiveWriter::writeScalar()
{
    std::cout << "trace vhdl scalar called" << std::endl;
}

IWdbWriter::TraceVhdlFunc WdbLiveWriter::getTraceVhdlFunc()
{
    return &EventTracing<WdbLiveWriter>::traceVhdl;
}

IWdbWriter::TraceVhdlFuncScalar WdbLiveWriter::getTraceVhdlFuncScalar()
{
    return &EventTracing<WdbLiveWriter>::traceVhdlScalar;
}

IWdbWriter::TraceVlogFunc WdbLiveWriter::getTraceVlogFunc()
{
    return &EventTracing<WdbLiveWriter>::traceVlog;
}

IWdbWriter::TraceScObjectFunc WdbLiveWriter::getTraceScObjectFunc()
{
    return &EventTracing<WdbLiveWriter>::traceScObject;
}

IWdbWriter::TraceScVirtualObjectFunc WdbLiveWriter::getTraceScVirtualObjectFunc()
{
    return &EventTracing<WdbLiveWriter>::traceScVirtualObject;
}

} // namespace Tracewell

Tracewell::IWdbWriter* qtracewell_getWdbWriter()
{
    static Tracewell::WdbLiveWriter writer;
    return &writer;
}

namespace {

/// Makes the library's writer at load, before any that a program constructs itself.
[[maybe_unused]] const Tracewell::IWdbWriter* const s_writerMadeAtLoad = qtracewell_getWdbWriter();

} // namespace
