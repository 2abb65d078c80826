// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/OutputFile.h"
#include "live/LiveViewer.h"
#include "record/Store.h"
#include "wave/SignalNames.h"

#include <memory>
#include <optional>
#include <string>

namespace tracewell {

/// A simulation that is recorded while it runs: the names that it left, the viewer that stores what
/// it sends, and the file that becomes of it. What does not end whole leaves no file that looks as
/// if it had.
class LiveRecording
{
public:
    /// Makes and connects nothing yet. `channel` outlives it.
    /// \throws Failure when `output` cannot be written or replaced.
    LiveRecording(Store store, const LiveChannel& channel, const std::string& output);

    /// What shows and stores the channel's values; there until close().
    LiveViewer& viewer() const { return *m_viewer; }
    /// Those of the last readNames().
    const SignalNames& names() const { return m_names; }
    const OutputFile& output() const { return m_output; }

    /// Reads what the simulation that is there now left as its names; before open() and
    /// beginAnew(), so that what is asked for by name can be refused before there is a file.
    /// \throws Failure
    void readNames();
    /// Makes the file and begins to store. False when the simulation has gone meanwhile.
    /// \throws Failure
    bool open(bool mayBeginAnew);
    /// The simulation has gone, and another may come: what was recorded is whole.
    void finishRun();
    /// Behind finishRun(): the next run is recorded in the place of the one before.
    void beginAnew();
    /// Closes the file. Answers what OutputFile::finish() does.
    /// \throws Failure
    std::string close(bool isWhole);
    /// What was recorded cannot be had again, so all of it that is sound is kept. Answers what
    /// close() has to say; nothing when the file stays, not closed, under the name under which it
    /// was written.
    std::optional<std::string> closeAfterFailure();

private:
    Store m_store;
    const LiveChannel& m_channel;
    SignalNames m_names;
    std::string m_nameText;
    OutputFile m_output;
    bool m_isOpen = false;
    std::unique_ptr<LiveViewer> m_viewer;
};

} // namespace tracewell
