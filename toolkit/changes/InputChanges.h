// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ByteWriter.h"
#include "changes/MemoryTexts.h"
#include "changes/ReplayedChanges.h"
#include "import/InputRun.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// The changes of a run in a format of others, as a recording made of it would give them: plays it
/// against a writer that stores nothing and brings each change into the replay. One thread for all
/// streams.
class InputChanges : public ReplayedChanges
{
public:
    /// "-" is the standard input; for `reading` see ChangeStream::openRun.
    /// \throws Failure, here and in each step, for what has no sensible meaning.
    InputChanges(const std::string& path, InputRun::Reading reading);

    const Declarations& declarations() const override { return m_run->declarations(); }
    const DataLayout& layout() const override { return m_run->layout(); }
    long long latestTime() const override { return m_run->values().time(); }
    double progress() const override { return m_run->input().progress(); }
    std::vector<std::string> notices() const override { return listOf(m_run->lenience()); }
    std::vector<std::string> shortfalls() const override
    {
        return listOf(m_run->shortfall("read"));
    }

protected:
    bool findNext(long long& time) override;
    void applyNext() override;

private:
    /// Brings all into the replay.
    class Writer : public ByteWriter
    {
    public:
        explicit Writer(InputChanges& stream) : m_stream(stream) {}
        long long addString(const std::string& text) override { return m_stream.m_texts.add(text); }

    protected:
        void write(long long, long long address, unsigned int length,
                   const unsigned char* value) override
        {
            m_stream.values().apply(address, value, length);
        }

    private:
        InputChanges& m_stream;
    };

    static std::vector<std::string> listOf(const std::string& line)
    {
        return line.empty() ? std::vector<std::string>() : std::vector{line};
    }
    void forEachTextInUse(const MemoryTexts::Visit& visit) const;

    MemoryTexts m_texts;
    Writer m_writer;
    std::unique_ptr<InputRun> m_run;
    bool m_hasEnded = false;
};

} // namespace tracewell
