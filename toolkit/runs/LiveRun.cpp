// SPDX-License-Identifier: BSD-3-Clause

#include "runs/LiveRun.h"

#include "text/Failure.h"
#include "view/LiveSource.h"

#include <fmt/format.h>

#include <atomic>

namespace tracewell {

namespace {

std::atomic<bool> s_isThere{false};

} // namespace

LiveRun::LiveRun(const ChannelPlace& place, const std::string& output)
{
    if (s_isThere.exchange(true)) {
        throw Failure("a simulation is followed in this process already; close its run first");
    }
    try {
        m_channel.place() = place;
        m_channel.enter();
        if (output.empty()) {
            m_directory.emplace();
        }
        m_recording = std::make_unique<LiveRecording>(
            Store::Events, m_channel, m_directory ? m_directory->path() + "/live.wdb" : output);
    } catch (...) {
        s_isThere = false;
        throw;
    }
}

LiveRun::~LiveRun()
{
    try {
        close();
    } catch (const std::exception&) {
        // Who wants to know calls close().
    }
}

bool LiveRun::connect()
{
    LiveViewer& viewer = m_recording->viewer();
    if (!viewer.isOffered()) {
        return false;
    }
    if (viewer.isTaken()) {
        throw Failure(fmt::format("{} is followed by a running viewer already; close that one, or "
                                  "choose another channel for both sides",
                                  m_channel.describe()));
    }
    m_recording->readNames();
    m_recording->names().requireNames();
    if (!m_recording->open(false)) {
        return false;
    }
    m_run =
        std::make_shared<OpenRun>(m_channel.describe(), std::make_unique<LiveSource>(*m_recording));
    return true;
}

bool LiveRun::poll()
{
    const std::lock_guard lock(m_run->mutex());
    // Another simulation may come on the channel; this is the recording of the one that has gone.
    if (m_run->source().isRunning()) {
        m_run->source().poll([] {});
    }
    return m_run->source().isRunning();
}

void LiveRun::close()
{
    if (m_recording == nullptr) {
        return;
    }
    const std::unique_ptr<LiveRecording> recording = std::move(m_recording);
    const bool wasOpen = m_run != nullptr;
    if (m_run != nullptr) {
        m_run->end();
    }
    s_isThere = false;
    if (wasOpen) {
        recording->close(true);
    }
}

} // namespace tracewell
