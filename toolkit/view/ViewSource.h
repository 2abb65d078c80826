// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalNames.h"
#include "wave/SignalValues.h"
#include "wave/WaveFile.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// What a page looks at: a file, or a simulation that runs. One thread, which need not be the one
/// that made it.
class ViewSource
{
public:
    ViewSource() = default;
    ViewSource(const ViewSource&) = delete;
    ViewSource& operator=(const ViewSource&) = delete;
    virtual ~ViewSource() = default;

    virtual const SignalNames& names() const = 0;
    virtual long long latestTime() const = 0;
    /// The object lasts no longer than generation() stays the same.
    virtual std::unique_ptr<SignalValues> values(std::vector<Signal> signals) = 0;
    /// Calls `ask` while nothing changes what it asks for.
    virtual void whileSteady(const std::function<void()>& ask) { ask(); }
    /// Whether more is coming.
    virtual bool isRunning() const { return false; }
    /// Whether another run may come.
    virtual bool isWaiting() const { return false; }
    /// Called ten times a second where one of both is so. `beforeAnother` is called before another
    /// run takes the place of the one that is there: all values() are to be gone behind it.
    /// \throws Failure when the run cannot be kept any longer.
    virtual void poll(const std::function<void()>& beforeAnother)
    {
        static_cast<void>(beforeAnother);
    }
    /// Goes up when another run has come in the place of the one before.
    virtual unsigned int generation() const { return 0; }
    /// What is lacking in the answers, a line each, and whether the run was ever closed.
    virtual std::vector<std::string> shortfalls() const { return {}; }
};

/// A file of any format.
class FileSource : public ViewSource
{
public:
    /// \throws Failure when it cannot be read, or has no names.
    FileSource(const std::string& path, Reach reach);

    const SignalNames& names() const override { return *m_file; }
    long long latestTime() const override { return m_file->latestTime(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override
    {
        return m_file->values(std::move(signals));
    }
    std::vector<std::string> shortfalls() const override;

private:
    std::unique_ptr<WaveFile> m_file;
};

} // namespace tracewell
