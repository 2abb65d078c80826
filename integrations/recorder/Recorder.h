// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "record/SnapshotDirectory.h"
#include "record/Store.h"
#include "record/ValueRecorder.h"

#include "names/DataLayout.h"
#include "names/Declarations.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tracewell {

class DebugFile;
class OutputFile;
class RecordingWriter;
class StorageWatch;
class WindowRecording;

struct RecorderOptions
{
    /// The file to make; what is there already stays until this one is finished, see
    /// OutputFile::show(). Empty: the live channel instead.
    std::string output = "run.wdb";
    /// Which store a file has; a channel has none.
    Store store = Store::Events;
    /// After so many seconds of the clock on the wall what was traced is in the file, and survives
    /// the death of the process; 0 for never. Not of transitions.
    double syncSeconds = 1;
    /// In units of the timescale: the file holds about so much of the run before its end, and the
    /// run takes no more room than that, see WindowRecording; 0 for all. A file only.
    long long window = 0;
    /// Of these the run keeps up to two parts, each of this many bytes at least before compression:
    /// changing to the next one takes some 0.1 s.
    unsigned long long leastPart = 64u << 20;
    /// Number and snapshot of the live channel.
    int channel = 0;
    std::string snapshot = "live";
};

/// A recording that a plug-in makes inside of a simulator: first the names, then time steps and
/// values, on the simulation's thread. Nothing is thrown and nothing ends the process: what goes
/// wrong is said in a line, the recording stops, and the simulation goes on. One at a time in a
/// process.
class Recorder
{
public:
    /// Prints a line for the user, on any thread.
    using Say = std::function<void(const std::string& line)>;

    Recorder(Declarations declarations, RecorderOptions options, Say say);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    /// Closes the recording, so that it is whole.
    ~Recorder();

    /// Begins the recording. False, with a line, when that cannot be.
    bool open();
    bool isOpen() const { return m_isOpen; }
    /// Whether a failure has ended it, or is about to at the next step.
    bool isBroken() const { return m_isBroken.load(std::memory_order_relaxed) || !m_isOpen; }

    /// What is stored from now on is at this time. Times do not go back.
    void setTime(long long time)
    {
        if (m_isOpen) {
            step(time);
        }
    }
    /// Where values go. Nothing is traced while the recording is closed or off.
    ValueRecorder& values() { return *m_values; }

    /// Records that nothing is known from now on, and stops.
    void off();
    /// Goes on with all values as they are by now.
    void on();
    /// Makes what was traced before the time at hand readable by others; transitions never are.
    void flush();
    /// With a window: what it holds by now is what there was to record, and closes. Otherwise
    /// flushes.
    void trigger();
    /// Finishes the file, or leaves the channel.
    void close();

private:
    void openFile();
    void openChannel();
    void step(long long time);
    void look(long long now);
    void lookAtViewer();
    bool mayWaitForViewer();
    void showRefusal();
    void stop();
    template <class Action> bool attempt(Action action);

    RecorderOptions m_options;
    Say m_say;
    const Declarations m_declarations;
    const DataLayout m_layout;
    /// Of the storage, while open.
    std::unique_ptr<StorageWatch> m_watch;
    std::unique_ptr<SnapshotDirectory> m_directory;
    /// Goes after the channel that it belongs to.
    std::unique_ptr<DebugFile> m_debugFile;
    /// Of a file without a window, which cares for its output itself.
    std::unique_ptr<OutputFile> m_output;
    std::unique_ptr<RecordingWriter> m_file;
    /// The same where there is a window, or null.
    WindowRecording* m_window = nullptr;
    std::unique_ptr<ValueRecorder> m_values;
    bool m_isOpen = false;
    bool m_isOff = false;
    /// Whether a viewer has taken the channel by now.
    bool m_hasViewer = false;
    /// Something was not sent, for want of a viewer in front of a full ring.
    bool m_hasDropped = false;
    /// Set by whatever thread meets a failure.
    std::atomic<bool> m_isBroken{false};
    /// In milliseconds of the clock.
    long long m_nextSync = 0;
    long long m_nextLook = 0;
};

} // namespace tracewell
