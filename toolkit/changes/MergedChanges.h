// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Several runs of the same time as one: each has a scope of its own around its names, and times
/// count the largest unit that all timescales are whole multiples of.
class MergedChanges : public ChangeStream
{
public:
    struct Part
    {
        /// Of the scope; none is made for an empty one.
        std::string scope;
        /// For messages.
        std::string path;
        std::unique_ptr<ChangeStream> changes;
    };

    /// At least one part.
    /// \throws Failure when the timescales lie too far apart.
    explicit MergedChanges(std::vector<Part> parts);

    const Declarations& declarations() const override { return m_declarations; }
    void select(const ChangeSelection& selection) override;
    bool peek(long long& time) override;
    bool advance() override;
    long long time() const override { return m_time; }
    const std::vector<std::uint32_t>& changed() const override { return m_changed; }
    void appendChange(std::string& out, std::uint32_t object) override;
    void appendValue(std::string& out, std::uint32_t object) override;
    const unsigned char* plainValue(std::uint32_t object) const override;
    unsigned long long firings(std::uint32_t object) const override;
    long long latestTime() const override;
    long long end() const override;
    double progress() const override;
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;

private:
    struct Source
    {
        Part part;
        /// Units of the common time in one of its own.
        long long units = 1;
        /// The first of its objects here; they follow each other.
        std::uint32_t firstObject = 0;
        /// The step at hand is its own.
        bool isMoved = false;
    };

    void setUnits();
    void declare(const Source& source);
    Source& sourceOf(std::uint32_t object);
    const Source& sourceOf(std::uint32_t object) const;
    /// \throws Failure when the time has no place on the common scale.
    static long long scaled(const Source& source, long long time);
    std::vector<std::string> linesOf(std::vector<std::string> (Shortfalls::*lines)() const) const;

    std::vector<Source> m_sources;
    Declarations m_declarations;
    std::vector<std::uint32_t> m_changed;
    long long m_time = -1;
};

} // namespace tracewell
