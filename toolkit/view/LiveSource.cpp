// SPDX-License-Identifier: BSD-3-Clause

#include "view/LiveSource.h"

namespace tracewell {

void LiveSource::poll(const std::function<void()>& beforeAnother)
{
    LiveViewer& viewer = m_recording.viewer();
    if (m_isRunning) {
        // In this order: what was sent before it went is there by now.
        const bool isGone = !viewer.isKernelPresent();
        if (isGone && viewer.isDrained()) {
            m_recording.finishRun();
            m_isRunning = false;
        } else {
            viewer.check();
        }
        return;
    }
    if (viewer.isOffered()) {
        beforeAnother();
        m_recording.readNames();
        m_recording.beginAnew();
        m_isRunning = true;
        ++m_generation;
    }
}

} // namespace tracewell
