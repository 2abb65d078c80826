// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveKernel.h"

#include "WdbLiveWriter.h"
#include "WdbWriter.h"

namespace tracewell {

namespace {

using Tracewell::IWdbWriter;

/// Feeds the ring of events.
class EventKernel : public LiveKernel
{
public:
    EventKernel() : m_writer(static_cast<Tracewell::WdbLiveWriter&>(*qtracewell_getWdbWriter())) {}
    ~EventKernel() override
    {
        m_writer.close();
        m_writer.setWaitHook({});
    }

    IWdbWriter& writer() override { return m_writer; }
    MakeSink sink() override { return makeEventSink(m_writer, Texts::Untold); }
    void setWaitHook(std::function<bool()> hook) override { m_writer.setWaitHook(std::move(hook)); }
    bool isOpen() const override { return m_writer.isOpen(); }
    bool isViewerPresent() const override { return m_writer.isViewerPresent(); }
    bool keepsUnread() const override { return true; }

private:
    Tracewell::WdbLiveWriter& m_writer;
};

/// Feeds the ring of transitions. A change there tells no more than the bits that change, and a
/// firing only how many there were before it.
class TransitionKernel : public LiveKernel
{
public:
    IWdbWriter& writer() override { return m_writer; }
    MakeSink sink() override { return makeObjectSink(m_writer); }
    void setWaitHook(std::function<bool()> hook) override { m_writer.setWaitHook(std::move(hook)); }
    bool isOpen() const override { return m_writer.isOpen(); }
    bool isViewerPresent() const override { return m_writer.isViewerPresent(); }
    bool keepsUnread() const override { return false; }

private:
    Tracewell::WdbWriter m_writer;
};

} // namespace

std::unique_ptr<LiveKernel> makeLiveKernel(Store store)
{
    if (store == Store::Transitions) {
        return std::make_unique<TransitionKernel>();
    }
    return std::make_unique<EventKernel>();
}

} // namespace tracewell
