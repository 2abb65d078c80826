// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A window of time and a choice of variables of another stream, as a run of its own. At its start
/// everything has the value that held there.
class SlicedChanges : public ChangeStream
{
public:
    /// `variables` are indices into the source's Declarations::variables, ascending. Both times
    /// are included.
    SlicedChanges(std::unique_ptr<ChangeStream> source, const std::vector<std::size_t>& variables,
                  long long from, long long to);

    const Declarations& declarations() const override { return m_declarations; }
    void select(const ChangeSelection& selection) override;
    bool peek(long long& time) override;
    bool advance() override;
    long long time() const override { return m_source->time(); }
    const std::vector<std::uint32_t>& changed() const override { return m_changed; }
    /// One with the identifier codes of this run.
    void appendChange(std::string& out, std::uint32_t object) override;
    void appendValue(std::string& out, std::uint32_t object) override
    {
        m_source->appendValue(out, m_objects[object]);
    }
    const unsigned char* plainValue(std::uint32_t object) const override
    {
        return m_source->plainValue(m_objects[object]);
    }
    unsigned long long firings(std::uint32_t object) const override
    {
        return m_source->firings(m_objects[object]);
    }
    long long latestTime() const override;
    long long end() const override { return m_source->end(); }
    double progress() const override { return m_source->progress(); }
    std::vector<std::string> shortfalls() const override { return m_source->shortfalls(); }
    std::vector<std::string> notices() const override { return m_source->notices(); }

private:
    void declare(const std::vector<std::size_t>& variables);

    std::unique_ptr<ChangeStream> m_source;
    Declarations m_declarations;
    /// The source's objects, by those of this run, and the other way round.
    std::vector<std::uint32_t> m_objects;
    std::vector<std::uint32_t> m_ownObjects;
    std::vector<std::uint32_t> m_changed;
    long long m_from;
    long long m_to;
};

} // namespace tracewell
