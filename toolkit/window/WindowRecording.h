// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <tracewell/ThreadSafety.h>

#include "record/RecordingWriter.h"
#include "record/Store.h"
#include "record/ValueRecorder.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tracewell {

/// Records a run without end in bounded room, and at its end makes a file of about the last
/// `window` of simulated time.
///
/// What is recorded goes to segments beside the output, OUTPUT.1 and OUTPUT.2 in turn, each an
/// event database with names that stands for itself. A segment is as long as the window, and no
/// shorter than pays for telling all values at its beginning; the next one takes the place of the
/// one before the last. finish() brings the last two together. They are there until the output is
/// whole: a process that is killed leaves them, and so does a failure.
class WindowRecording : public RecordingWriter
{
public:
    using Say = std::function<void(const std::string& line)>;

    /// A segment takes at least `leastTraffic` bytes, before compression, so that files are not
    /// changed at every turn. `store` is that of the output. Keeps references to table and layout.
    WindowRecording(const Declarations& declarations, const DataLayout& layout, long long window,
                    unsigned long long leastTraffic, Store store, Say say);

    /// That of the segments. The recorder for it must remember texts.
    Tracewell::IWdbWriter& writer() override { return m_segment->writer(); }
    MakeSink sink() override { return makeEventSink(writer()); }
    /// Removes segments of an earlier run; an output stays until the new one is finished.
    void open(const std::string& output, const SnapshotDirectory& directory,
              const DataLayout& layout, unsigned long long inputSize) override;
    void flush() override { m_segment->flush(); }

    /// Before each step to another time: whether the next segment should begin.
    bool isDue(long long time, const ValueRecorder& values)
    {
        const bool isFar = time - m_start >= m_window && values.traffic() >= m_nextTraffic;
        return (isFar || !m_hasStart) && isFull(time, values);
    }
    /// Begins it. `isKnown` as in ValueRecorder::beginFile().
    /// \throws Failure, Qsim::OpenException; the recording cannot go on then.
    void beginSegment(ValueRecorder& values, SnapshotDirectory& directory, bool isKnown);

    /// Makes the output. What its store could not keep is said.
    /// \throws Failure, Qsim::Exception; no output is left then.
    void finish(long long lastTime, SnapshotDirectory& directory,
                const Declarations& declarations) override;

private:
    bool isFull(long long time, const ValueRecorder& values);
    const std::string& present() const { return m_paths[m_presentIndex]; }
    const std::string& previous() const { return m_paths[1 - m_presentIndex]; }
    void merge(const std::string& path, long long lastTime, SnapshotDirectory& directory);
    void watchStorage();
    void requireStorage();
    std::string remedied(const std::string& line);

    const Declarations& m_declarations;
    const DataLayout& m_layout;
    const long long m_window;
    const unsigned long long m_leastTraffic;
    const Store m_outputStore;
    Say m_say;
    std::unique_ptr<RecordingWriter> m_segment;
    std::string m_output;
    std::array<std::string, 2> m_paths;
    std::size_t m_presentIndex = 0;
    bool m_hasPrevious = false;
    bool m_hasStart = false;
    /// When the previous and the present segment begin.
    long long m_previousStart = 0;
    long long m_start = 0;
    /// How far the recorder's traffic must come before the next segment.
    unsigned long long m_nextTraffic = 0;
    /// Guards m_failure, which a helper thread may set.
    Tracewell::Mutex m_failureMutex;
    std::string m_failure TRACEWELL_GUARDED_BY(m_failureMutex);
};

} // namespace tracewell
