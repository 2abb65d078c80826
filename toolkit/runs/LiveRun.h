// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "runs/OpenRun.h"

#include "files/PrivateDirectory.h"
#include "live/LiveChannel.h"
#include "live/LiveRecording.h"

#include <memory>
#include <optional>
#include <string>

namespace tracewell {

/// A simulation that runs, recorded beside and asked meanwhile. One at a time in a process.
class LiveRun
{
public:
    /// `output` is the recording that becomes of it; empty for one that goes with this.
    /// \throws Failure
    LiveRun(const ChannelPlace& place, const std::string& output);
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;
    ~LiveRun();

    /// Tries to connect. False while no simulation is there.
    /// \throws Failure when another viewer is on the channel.
    bool connect();
    /// Null before connect() was true.
    std::shared_ptr<OpenRun> run() const { return m_run; }
    /// Takes note of what has happened. False when the simulation has gone and all it sent is
    /// there.
    bool poll();
    /// Closes the recording. What it has stays to be asked until then.
    void close();

private:
    LiveChannel m_channel;
    std::optional<PrivateDirectory> m_directory;
    std::unique_ptr<LiveRecording> m_recording;
    std::shared_ptr<OpenRun> m_run;
};

} // namespace tracewell
