// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/Interrupt.h"

#include <chrono>
#include <functional>
#include <string>

namespace tracewell {

class LiveKernel;
class ValueRecorder;

/// What a simulation does when its viewer has gone.
enum class OnViewerExit { Wait, Drop, Stop };

/// Keeps an eye on the viewer of a live kernel, and acts when it goes and when one comes again. A
/// new one is told all values anew. On the simulation's thread.
class ViewerWatch
{
public:
    /// `say` prints a line; `timeText` is the present simulation time.
    ViewerWatch(LiveKernel& kernel, const InterruptGuard& interrupt, OnViewerExit onExit,
                std::function<void(const std::string&)> say, std::function<std::string()> timeText);

    /// Before the channel's open: asks it to ask here whenever the ring is full.
    void attach();
    /// Waits for the first viewer, as long as it takes; `sayWaiting` is called when that is a
    /// while.
    void waitForFirst(const std::function<void()>& sayWaiting);
    /// What is traced from now on.
    void setRecorder(ValueRecorder* recorder) { m_recorder = recorder; }
    /// To be called between two changes, many times a second.
    /// \throws Failure when the replay is to end: an interrupt, or a viewer that has gone.
    void check();
    /// Looks now, however short a time ago that was done.
    void checkNow();
    /// How long the simulation stood still for want of a viewer.
    std::chrono::steady_clock::duration timeWaited() const { return m_waited; }

private:
    using Clock = std::chrono::steady_clock;

    bool mayWaitForRoom();
    void noteGone();
    void noteBack();
    void emptyChannel();
    void waitForAnother();
    [[noreturn]] void end() const;

    LiveKernel& m_kernel;
    const InterruptGuard& m_interrupt;
    OnViewerExit m_onExit;
    std::function<void(const std::string&)> m_say;
    std::function<std::string()> m_timeText;
    ValueRecorder* m_recorder = nullptr;
    bool m_isGone = false;
    /// The channel was emptied for the next viewer.
    bool m_isEmptied = false;
    Clock::time_point m_nextLook;
    Clock::duration m_waited{};
};

} // namespace tracewell
