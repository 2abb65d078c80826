// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "live/LiveRecording.h"
#include "view/ViewSource.h"

#include <memory>
#include <vector>

namespace tracewell {

/// A simulation that runs, recorded meanwhile. When it has gone its values stay to be seen until
/// the next one comes on its channel.
class LiveSource : public ViewSource
{
public:
    /// `recording` is open, and outlives it.
    explicit LiveSource(LiveRecording& recording) : m_recording(recording) {}

    const SignalNames& names() const override { return m_recording.names(); }
    long long latestTime() const override { return m_recording.viewer().latestTime(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override
    {
        return m_recording.viewer().values(m_recording.names(), std::move(signals));
    }
    void whileSteady(const std::function<void()>& ask) override
    {
        m_recording.viewer().whileSteady(ask);
    }
    bool isRunning() const override { return m_isRunning; }
    bool isWaiting() const override { return !m_isRunning; }
    unsigned int generation() const override { return m_generation; }
    void poll(const std::function<void()>& beforeAnother) override;

private:
    LiveRecording& m_recording;
    bool m_isRunning = true;
    unsigned int m_generation = 0;
};

} // namespace tracewell
