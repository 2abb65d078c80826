// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "changes/ValueReplay.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A stream that brings the values of all objects back in a data memory. Takes memory for these,
/// and none for the run.
class ReplayedChanges : public ChangeStream
{
public:
    void select(const ChangeSelection& selection) override;
    bool peek(long long& time) override;
    bool advance() override;
    long long time() const override { return m_time; }
    const std::vector<std::uint32_t>& changed() const override { return m_changed; }
    void appendChange(std::string& out, std::uint32_t object) override
    {
        m_values->appendChange(out, object);
    }
    void appendValue(std::string& out, std::uint32_t object) override
    {
        m_values->appendValue(out, object);
    }
    const unsigned char* plainValue(std::uint32_t object) const override
    {
        return m_values->plainValue(object);
    }
    unsigned long long firings(std::uint32_t object) const override;
    double progress() const override;
    std::vector<std::string> shortfalls() const override;

    const std::string& path() const { return m_path; }
    virtual const DataLayout& layout() const = 0;

protected:
    /// `path` stands for the recording in messages.
    explicit ReplayedChanges(std::string path) : m_path(std::move(path)) {}

    /// Before the first step, as soon as declarations() and layout() are there.
    /// \throws Failure when they ask for more memory than there can be.
    void start(TextSource& texts);
    ValueReplay& values() { return *m_values; }
    /// Before anything is applied: only these objects are of interest.
    virtual void choose(const std::vector<std::uint32_t>&) {}
    /// The time of what comes next; false at the end.
    virtual bool findNext(long long& time) = 0;
    /// The step at hand changes nothing that could be told.
    void dropChanges() { m_changed.clear(); }
    /// Applies everything of that time to values().
    virtual void applyNext() = 0;

private:
    bool findNextChecked(long long& time);

    std::string m_path;
    std::unique_ptr<ValueReplay> m_values;
    std::vector<std::uint32_t> m_changed;
    long long m_time = -1;
    /// Until all before it has been applied.
    std::optional<long long> m_from;
    /// The next step is that of m_time, whatever comes.
    bool m_isAtStart = false;
};

} // namespace tracewell
