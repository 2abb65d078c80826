// SPDX-License-Identifier: BSD-3-Clause

#include "live/Transit.h"

#include "live/LiveViewer.h"

#include <algorithm>
#include <utility>

namespace tracewell {

void Transit::look()
{
    unsigned long long stored = 0;
    unsigned long long sent = 0;
    const auto now = Clock::now();
    m_viewer.getTraffic(stored, sent);
    if (m_isUnderWay && stored >= m_target) {
        m_longest = std::max(m_longest, now - m_start);
        m_isUnderWay = false;
    }
    if (!m_isUnderWay && sent > stored) {
        m_isUnderWay = true;
        m_target = sent;
        m_start = now;
    }
}

double Transit::takeDelay()
{
    auto longest = std::exchange(m_longest, {});
    if (m_isUnderWay) {
        longest = std::max(longest, Clock::now() - m_start);
    }
    return std::chrono::duration<double>(longest).count();
}

} // namespace tracewell
