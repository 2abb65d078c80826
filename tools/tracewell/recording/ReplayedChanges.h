#pragma once

#include "recording/ChangeStream.h"
#include "recording/ValueReplay.h"

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
    bool next() override;
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
    unsigned long long firings(std::uint32_t object) const override;
    double progress() const override;
    std::string warning() const override;

    const std::string& path() const { return m_path; }
    virtual const DataLayout& layout() const = 0;

protected:
    /// `path` stands for the recording in messages.
    explicit ReplayedChanges(std::string path) : m_path(std::move(path)) {}

    /// Before the first step, as soon as declarations() and layout() are there.
    /// \throws CommandError when they ask for more memory than there can be.
    void start(TextSource& texts);
    ValueReplay& values() { return *m_values; }
    /// Applies everything of the next time to values(), and says which that is; false at the end.
    virtual bool step(long long& time) = 0;

private:
    bool take();

    std::string m_path;
    std::unique_ptr<ValueReplay> m_values;
    std::vector<std::uint32_t> m_changed;
    long long m_time = -1;
    /// Until a step has come at or behind it.
    std::optional<long long> m_from;
    /// By object; empty for all.
    std::vector<char> m_isSelected;
};

} // namespace tracewell
