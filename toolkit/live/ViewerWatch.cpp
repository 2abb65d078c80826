// SPDX-License-Identifier: BSD-3-Clause

#include "live/ViewerWatch.h"

#include "live/LiveKernel.h"
#include "record/ValueRecorder.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <thread>
#include <utility>

namespace tracewell {

namespace {

constexpr auto kLookEvery = std::chrono::milliseconds(100);
constexpr auto kPause = std::chrono::milliseconds(20);
/// Nobody needs to be told of a wait that is over so soon.
constexpr auto kSayAfter = std::chrono::milliseconds(300);

} // namespace

ViewerWatch::ViewerWatch(LiveKernel& kernel, const InterruptGuard& interrupt, OnViewerExit onExit,
                         std::function<void(const std::string&)> say,
                         std::function<std::string()> timeText)
    : m_kernel(kernel), m_interrupt(interrupt), m_onExit(onExit), m_say(std::move(say)),
      m_timeText(std::move(timeText))
{}

void ViewerWatch::attach()
{
    m_kernel.setWaitHook([this] { return mayWaitForRoom(); });
}

void ViewerWatch::waitForFirst(const std::function<void()>& sayWaiting)
{
    const auto start = Clock::now();
    bool isSaid = false;
    while (!m_kernel.isViewerPresent()) {
        if (m_interrupt.isInterrupted()) {
            end();
        }
        if (!isSaid && Clock::now() - start >= kSayAfter) {
            sayWaiting();
            isSaid = true;
        }
        std::this_thread::sleep_for(kPause);
    }
}

void ViewerWatch::check()
{
    if (m_interrupt.isInterrupted() || Clock::now() >= m_nextLook) {
        checkNow();
    }
}

void ViewerWatch::checkNow()
{
    m_nextLook = Clock::now() + kLookEvery;
    if (m_interrupt.isInterrupted()) {
        end();
    }
    const bool isPresent = m_kernel.isViewerPresent();
    if (!isPresent && !m_isGone) {
        noteGone();
    }
    if (m_isGone && m_onExit == OnViewerExit::Stop) {
        end();
    }
    if (m_isGone && !m_isEmptied) {
        emptyChannel();
    }
    if (m_isGone && !isPresent && m_onExit == OnViewerExit::Wait) {
        waitForAnother();
    }
    if (m_isGone && m_kernel.isViewerPresent()) {
        noteBack();
    }
}

/// Asked inside of a trace call that finds the ring full: nothing may be traced or thrown here.
/// What is not sent any more makes the rest of it go by quickly, until check() comes round.
bool ViewerWatch::mayWaitForRoom()
{
    if (m_interrupt.isInterrupted()) {
        m_recorder->setMuted(true);
        return false;
    }
    if (m_kernel.isViewerPresent()) {
        return true;
    }
    if (!m_isGone) {
        noteGone();
    }
    if (m_onExit == OnViewerExit::Wait && m_kernel.keepsUnread()) {
        return true;
    }
    // The next one is told all values in a moment; what lies in the channel must go before.
    m_recorder->setMuted(true);
    return false;
}

void ViewerWatch::noteGone()
{
    m_isGone = true;
    switch (m_onExit) {
    case OnViewerExit::Wait:
        m_say(fmt::format("the viewer has gone at {}; waiting for another one", m_timeText()));
        break;
    case OnViewerExit::Drop:
        m_say(fmt::format("the viewer has gone at {}; going on without one, nothing of it is kept",
                          m_timeText()));
        m_recorder->setMuted(true);
        break;
    case OnViewerExit::Stop:
        m_recorder->setMuted(true);
        break;
    }
}

/// The one before has taken changes with it.
void ViewerWatch::noteBack()
{
    m_isGone = false;
    m_isEmptied = false;
    m_say(fmt::format("a viewer is there again at {}; it is told all values anew", m_timeText()));
    m_recorder->setMuted(false);
    m_recorder->countAnew();
    m_recorder->restate();
}

/// Empties the channel, between two trace calls.
void ViewerWatch::emptyChannel()
{
    m_isEmptied = true;
    if (!m_kernel.keepsUnread()) {
        m_kernel.writer().restart();
    }
}

void ViewerWatch::waitForAnother()
{
    const auto start = Clock::now();
    while (!m_kernel.isViewerPresent()) {
        if (m_interrupt.isInterrupted()) {
            end();
        }
        std::this_thread::sleep_for(kPause);
    }
    m_waited += Clock::now() - start;
}

void ViewerWatch::end() const
{
    if (m_interrupt.isInterrupted()) {
        throw Failure(
            fmt::format("interrupted at {}; a viewer keeps what was sent before", m_timeText()));
    }
    throw Failure(fmt::format("the viewer has gone at {}; stopped, as --on-viewer-exit stop asks",
                              m_timeText()));
}

} // namespace tracewell
