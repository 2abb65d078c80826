// SPDX-License-Identifier: BSD-3-Clause

#include "live/EventViewer.h"

#include "files/WatchedProcess.h"
#include "text/Failure.h"
#include "wave/TreeValues.h"

#include "ChannelRefusal.h"
#include "QsimException.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>

namespace tracewell {

namespace {

using Tracewell::WdbLiveReader;

/// Bytes of a data memory that nobody describes; what lies behind it is stored all the same.
constexpr unsigned long long kMemoryWithoutNames = 1u << 20;

unsigned long long memorySize(const SignalNames& names)
{
    return names.hasNames()
               ? std::max(1ull, static_cast<unsigned long long>(names.layout().totalSize()))
               : kMemoryWithoutNames;
}

} // namespace

// With a handler the process goes on over a file that cannot be written; check() tells the reason.
EventViewer::EventViewer(const LiveChannel& channel, const std::string& output)
    : m_channel(channel), m_output(output)
{
    m_watch.emplace([this](const std::string& line) {
        const Tracewell::MutexLock lock(m_failureMutex);
        if (m_failure.empty()) {
            m_failure = line;
        }
    });
}

EventViewer::~EventViewer()
{
    m_reader.reset();
}

bool EventViewer::isOffered() const
{
    return WdbLiveReader::isOffered(m_channel.snapshot(), m_channel.number());
}

bool EventViewer::isTaken() const
{
    return WdbLiveReader::isTaken(m_channel.snapshot(), m_channel.number());
}

bool EventViewer::open(const SignalNames& names, const std::string& /*nameText*/, bool mayBeginAnew)
{
    m_reader = std::make_unique<WdbLiveReader>();
    m_reader->setMemFileSize(memorySize(names));
    m_reader->setWholeMark(true);
    m_reader->setSnapshot(m_channel.snapshot());
    m_reader->saveDbg(m_channel.debugFile());
    m_directory.emplace();
    const Tracewell::ChannelRefusal refusal;
    try {
        m_reader->createReader(m_output, m_output, m_channel.number(), m_directory->path());
    } catch (const Qsim::Exception&) {
        // A file that could not be written looks damaged when it is read back.
        tellFailure("nothing was recorded");
        throw;
    }
    // The reader keeps its drawing file open, and needs its place to begin anew alone.
    if (!mayBeginAnew) {
        m_directory.reset();
    }
    if (m_reader->isConnected()) {
        return true;
    }
    m_reader.reset();
    if (isOffered()) {
        throw Failure(
            fmt::format("{} cannot be followed: {}", m_channel.describe(), refusal.getReason()));
    }
    return false;
}

void EventViewer::beginAnew(const SignalNames& names, const std::string& /*nameText*/)
{
    m_reader->setMemFileSize(memorySize(names));
    try {
        m_reader->relaunchAfterRestart();
    } catch (const Qsim::Exception&) {
        check();
        throw;
    }
}

void EventViewer::check() const
{
    tellFailure("what had reached the file is there, and it is not closed");
}

void EventViewer::tellFailure(const char* outcome) const
{
    const Tracewell::MutexLock lock(m_failureMutex);
    if (!m_failure.empty()) {
        throw Failure(fmt::format("{}: cannot be written: {}; {}; make room and follow again",
                                  m_output, storageReason(m_failure), outcome));
    }
}

std::unique_ptr<SignalValues> EventViewer::values(const SignalNames& names,
                                                  std::vector<Signal> signals)
{
    return std::make_unique<TreeValues>(*m_reader, names.path(), std::move(signals));
}

void EventViewer::whileSteady(const std::function<void()>& ask)
{
    const std::lock_guard<std::recursive_mutex> lock(m_reader->getReadWriteMutex());
    m_reader->flushEvents();
    ask();
}

} // namespace tracewell
