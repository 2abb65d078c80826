// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// The segments of one run, one after the other. Each tells all values at its start; what is the
/// same as at the end of the one before is no change.
class JoinedChanges : public ChangeStream
{
public:
    struct Segment
    {
        /// For messages.
        std::string path;
        std::unique_ptr<ChangeStream> changes;
        /// Whether its first step is taken, and not given yet.
        bool isAhead = false;
        /// Whether there are steps behind its first.
        bool goesOn = false;
    };

    /// At least one, in any order; they are put in that of their first times.
    /// \throws Failure when they do not have the same variables and timescale.
    explicit JoinedChanges(std::vector<Segment> segments);

    const Declarations& declarations() const override { return first().declarations(); }
    void select(const ChangeSelection& selection) override;
    bool peek(long long& time) override;
    /// \throws Failure when a segment starts before the one in front of it ends.
    bool advance() override;
    long long time() const override { return m_time; }
    const std::vector<std::uint32_t>& changed() const override { return m_changed; }
    void appendChange(std::string& out, std::uint32_t object) override
    {
        present().appendChange(out, object);
    }
    void appendValue(std::string& out, std::uint32_t object) override;
    const unsigned char* plainValue(std::uint32_t object) const override
    {
        return m_segments[m_at].changes->plainValue(object);
    }
    unsigned long long firings(std::uint32_t object) const override
    {
        return m_segments[m_at].changes->firings(object);
    }
    long long latestTime() const override;
    double progress() const override;
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;

private:
    const ChangeStream& first() const { return *m_segments.front().changes; }
    ChangeStream& present() { return *m_segments[m_at].changes; }
    void requireAlike() const;
    void putInOrder();
    void begin(std::size_t segment);

    std::vector<Segment> m_segments;
    bool m_isInOrder = false;
    std::size_t m_at = 0;
    std::vector<std::uint32_t> m_changed;
    /// The values at the end of the segment before, until the step behind it is taken.
    std::vector<std::string> m_before;
    bool m_isAtStart = false;
    long long m_time = -1;
};

} // namespace tracewell
