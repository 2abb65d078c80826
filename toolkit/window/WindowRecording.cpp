// SPDX-License-Identifier: BSD-3-Clause

#include "window/WindowRecording.h"

#include "files/OutputFile.h"
#include "formats/vcd/DeclarationText.h"
#include "record/SnapshotDirectory.h"
#include "text/Failure.h"
#include "window/SegmentPlayer.h"

#include "QsimException.h"
#include "StorageFailure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// A segment takes at least so many times the traffic of all values with which it begins.
constexpr unsigned long long kTrafficOfBeginning = 8;
/// What a variable takes in the name table.
constexpr unsigned long long kBytesOfName = 64;

/// Only a regular file is ever removed; another one keeps its place.
void removeFile(const std::string& path)
{
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw Failure(fmt::format("{}: is no regular file; name another output", path));
    }
    ::unlink(path.c_str());
}

} // namespace

WindowRecording::WindowRecording(const Declarations& declarations, const DataLayout& layout,
                                 long long window, unsigned long long leastTraffic, Store store,
                                 Say say)
    : m_declarations(declarations), m_layout(layout), m_window(window),
      m_leastTraffic(leastTraffic), m_outputStore(store), m_say(std::move(say)),
      m_segment(makeEventWriter(0))
{}

void WindowRecording::open(const std::string& output, const SnapshotDirectory& directory,
                           const DataLayout& layout, unsigned long long inputSize)
{
    m_output = output;
    // What cannot be made at the end is refused now.
    const OutputFile possible(output, OutputKind::WholeFile);
    m_paths = {output + ".1", output + ".2"};
    for (const std::string& path : m_paths) {
        removeFile(path);
    }
    m_segment->open(present(), directory, layout, inputSize);
}

/// The traffic suffices, and the time once it counts from the first step on.
bool WindowRecording::isFull(long long time, const ValueRecorder& values)
{
    const unsigned long long beginning =
        values.trafficOfAll() + kBytesOfName * m_declarations.variables.size();
    const unsigned long long least = std::max(m_leastTraffic, kTrafficOfBeginning * beginning);
    if (!m_hasStart) {
        m_hasStart = true;
        m_start = time;
        m_nextTraffic = values.traffic() + least;
        return false;
    }
    m_nextTraffic = values.traffic() + least;
    return true;
}

void WindowRecording::beginSegment(ValueRecorder& values, SnapshotDirectory& directory,
                                   bool isKnown)
{
    m_segment->finish(values.time(), directory, m_declarations);
    m_presentIndex = 1 - m_presentIndex;
    m_hasPrevious = true;
    m_previousStart = m_start;
    m_start = values.time();
    removeFile(present());
    directory.write(writeDeclarations(m_declarations));
    m_segment->open(present(), directory, m_layout, 0);
    directory.remove();
    values.beginFile(isKnown);
}

void WindowRecording::finish(long long lastTime, SnapshotDirectory& directory, const Declarations&)
{
    watchStorage();
    try {
        OutputFile output(m_output, OutputKind::WholeFile);
        m_segment->finish(lastTime, directory, m_declarations);
        requireStorage();
        const bool isAll =
            !m_hasPrevious && lastTime - m_window <= m_start && m_outputStore == Store::Events;
        if (isAll && output.take(present())) {
            return;
        }
        output.start();
        merge(output.path(), lastTime, directory);
        requireStorage();
        output.finish();
    } catch (const Qsim::Exception& e) {
        throw Failure(remedied(fmt::format("{}: {}", m_output, e.getMessage())));
    } catch (const Failure& e) {
        throw Failure(remedied(e.what()));
    }
    ::unlink(present().c_str());
    ::unlink(previous().c_str());
}

void WindowRecording::merge(const std::string& path, long long lastTime,
                            SnapshotDirectory& directory)
{
    const long long start = m_hasPrevious ? m_previousStart : m_start;
    const long long from = lastTime - start > m_window ? lastTime - m_window : start;
    const std::unique_ptr<RecordingWriter> file = makeRecordingWriter(m_outputStore);
    SegmentPlayer player(m_declarations, m_layout, file->writer(), file->sink(), from);
    directory.write(writeDeclarations(m_declarations));
    file->open(path, directory, m_layout, 0);
    directory.remove();
    // Events that fired just when the present segment began are in the one before.
    if (m_hasPrevious && from <= m_start) {
        player.play(previous());
    }
    player.play(present());
    player.values().setTime(lastTime);
    for (const std::string& refusal : player.refusals()) {
        m_say(refusal);
    }
    file->finish(lastTime, directory, m_declarations);
}

/// One line is for the user, whatever the storage has to say.
void WindowRecording::watchStorage()
{
    Tracewell::setStorageFailureHandler([this](const std::string& line) {
        const Tracewell::MutexLock lock(m_failureMutex);
        if (m_failure.empty()) {
            m_failure = line;
        }
    });
}

void WindowRecording::requireStorage()
{
    const Tracewell::MutexLock lock(m_failureMutex);
    if (!m_failure.empty()) {
        throw Failure(m_failure);
    }
}

/// What is in the segments is not lost. The storage's own reason goes first.
std::string WindowRecording::remedied(const std::string& line)
{
    const Tracewell::MutexLock lock(m_failureMutex);
    const std::string& reason = m_failure.empty() ? line : m_failure;
    return m_hasPrevious ? fmt::format("{}; what there is of the last time is in {} and {}", reason,
                                       previous(), present())
                         : fmt::format("{}; what was recorded is in {}", reason, present());
}

} // namespace tracewell
