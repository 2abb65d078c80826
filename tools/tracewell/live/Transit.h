#pragma once

#include <chrono>

namespace Tracewell {
class WdbLiveReader;
}

namespace tracewell {

/// Measures how far a viewer is behind its simulation: how long what lies in the channel at a
/// moment takes to be stored. As fine as it is asked to look.
class Transit
{
public:
    using Clock = std::chrono::steady_clock;

    explicit Transit(const Tracewell::WdbLiveReader& reader) : m_reader(reader) {}

    void look();
    /// The longest that was seen since the last call, in seconds; what is still under way counts.
    double takeDelay();

private:
    const Tracewell::WdbLiveReader& m_reader;
    /// What was sent when the measurement began is stored when it has come to this.
    unsigned long long m_target = 0;
    bool m_isUnderWay = false;
    Clock::time_point m_start;
    Clock::duration m_longest{};
};

} // namespace tracewell
