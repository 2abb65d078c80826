// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <tracewell/ThreadSafety.h>

#include "files/PrivateDirectory.h"
#include "files/StorageWatch.h"
#include "live/LiveViewer.h"

#include "WdbLiveReader.h"

#include <optional>
#include <string>

namespace tracewell {

/// Records the events of a kernel in an event database.
class EventViewer : public LiveViewer
{
public:
    EventViewer(const LiveChannel& channel, const std::string& output);
    ~EventViewer() override;

    bool isOffered() const override;
    bool isTaken() const override;
    bool open(const SignalNames& names, const std::string& nameText, bool mayBeginAnew) override;
    void beginAnew(const SignalNames& names, const std::string& nameText) override;
    bool isKernelPresent() const override { return m_reader->isKernelPresent(); }
    bool isDrained() const override { return m_reader->isDrained(); }
    long long latestTime() const override { return m_reader->getLatestTime(); }
    unsigned long long changeCount() const override { return m_reader->getEventCount(); }
    unsigned long long refusedCount() const override { return m_reader->getRefusedCount(); }
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const override
    {
        m_reader->getTraffic(stored, sent);
    }
    void sync() override { m_reader->sync(); }
    void check() const override;
    void finish() override { check(); }
    void close() override
    {
        m_reader.reset();
        check();
    }
    std::unique_ptr<SignalValues> values(const SignalNames& names,
                                         std::vector<Signal> signals) override;
    void whileSteady(const std::function<void()>& ask) override;

private:
    /// Throws where the storage has failed.
    void tellFailure(const char* outcome) const;

    const LiveChannel& m_channel;
    std::string m_output;
    std::optional<PrivateDirectory> m_directory;
    /// Guards m_failure, which a thread of the library may set.
    mutable Tracewell::Mutex m_failureMutex;
    std::string m_failure TRACEWELL_GUARDED_BY(m_failureMutex);
    std::optional<StorageWatch> m_watch;
    std::unique_ptr<Tracewell::WdbLiveReader> m_reader;
};

} // namespace tracewell
