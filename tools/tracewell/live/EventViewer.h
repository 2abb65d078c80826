#pragma once

#include "files/PrivateDirectory.h"
#include "live/LiveViewer.h"

#include "WdbLiveReader.h"

#include <optional>

namespace tracewell {

/// Records the events of a kernel in an event database.
class EventViewer : public LiveViewer
{
public:
    EventViewer(const LiveChannel& channel, const std::string& output)
        : m_channel(channel), m_output(output)
    {}

    bool isOffered() const override;
    bool isTaken() const override;
    bool open(const SignalNames& names, const std::string& nameText, bool mayBeginAnew) override;
    void beginAnew(const SignalNames& names, const std::string& nameText) override;
    bool isKernelPresent() const override { return m_reader->isKernelPresent(); }
    bool isDrained() const override { return m_reader->isDrained(); }
    long long latestTime() const override { return m_reader->getLatestTime(); }
    unsigned long long changeCount() const override { return m_reader->getEventCount(); }
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const override
    {
        m_reader->getTraffic(stored, sent);
    }
    void sync() override { m_reader->sync(); }
    std::unique_ptr<SignalValues> values(const SignalNames& names,
                                         std::vector<Signal> signals) override;
    void whileSteady(const std::function<void()>& ask) override;

private:
    const LiveChannel& m_channel;
    std::string m_output;
    std::optional<PrivateDirectory> m_directory;
    std::unique_ptr<Tracewell::WdbLiveReader> m_reader;
};

} // namespace tracewell
