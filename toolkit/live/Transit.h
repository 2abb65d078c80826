// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <chrono>

namespace tracewell {

class LiveViewer;

/// Measures how far a viewer is behind its simulation: how long what lies in the channel at a
/// moment takes to be stored. As fine as it is asked to look.
class Transit
{
public:
    using Clock = std::chrono::steady_clock;

    explicit Transit(const LiveViewer& viewer) : m_viewer(viewer) {}

    void look();
    /// The longest that was seen since the last call, in seconds; what is still under way counts.
    double takeDelay();

private:
    const LiveViewer& m_viewer;
    /// What was sent when the measurement began is stored when it has come to this.
    unsigned long long m_target = 0;
    bool m_isUnderWay = false;
    Clock::time_point m_start;
    Clock::duration m_longest{};
};

} // namespace tracewell
