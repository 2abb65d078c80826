// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/StorageWatch.h"
#include "live/LiveViewer.h"

#include "DataBase.h"

namespace tracewell {

/// Records the transitions of a kernel in a transition database. Its file can be read when it is
/// finished, and not before.
class TransitionViewer : public LiveViewer
{
public:
    TransitionViewer(const LiveChannel& channel, const std::string& output);
    ~TransitionViewer() override;

    bool isOffered() const override;
    bool isTaken() const override;
    bool open(const SignalNames& names, const std::string& nameText, bool mayBeginAnew) override;
    void beginAnew(const SignalNames& names, const std::string& nameText) override;
    bool isKernelPresent() const override { return m_dataBase->isPeerPresent(); }
    bool isDrained() const override;
    long long latestTime() const override { return m_dataBase->getLatestTime(); }
    unsigned long long changeCount() const override { return m_dataBase->getStoredCount(); }
    unsigned long long refusedCount() const override { return m_dataBase->getRefusedCount(); }
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const override
    {
        m_dataBase->getTraffic(stored, sent);
    }
    void check() const override;
    void finish() override;
    std::unique_ptr<SignalValues> values(const SignalNames& names,
                                         std::vector<Signal> signals) override;
    void whileSteady(const std::function<void()>& ask) override { ask(); }

private:
    const LiveChannel& m_channel;
    std::string m_output;
    StorageWatch m_watch;
    std::unique_ptr<Tracewell::DataBase> m_dataBase;
};

} // namespace tracewell
