// SPDX-License-Identifier: BSD-3-Clause

#include "Viewers.h"

#include "WdbAddressBTreeManager.h"
#include "WdbEventReaderFactory.h"

namespace tracewell::bench {

namespace {

using Tracewell::WdbEventReaderFactory;
using Tracewell::WdbIEventReader;
using Tracewell::WdbScalarBTree;
using Tracewell::WdbTimeByteValues;

/// Its trees are made and filled when it is made.
class EventViewer : public Viewer
{
public:
    EventViewer(const Workload& workload, const std::string& path, std::uint32_t signalCount)
        : m_reader(WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader))
    {
        m_reader->createReader("", path, 0, "");
        Tracewell::WdbAddressBTreeManager& manager = m_reader->getBTreeManager();
        std::vector<WdbScalarBTree*> toScan;
        for (const std::uint32_t signal : workload.pick(signalCount)) {
            m_signals.emplace_back();
            manager.getOrCreateByteBTrees(workload.addressOf(signal), workload.sizeOf(signal),
                                          m_signals.back(), toScan);
        }
        manager.scanWdbDatabaseMultiThread(toScan, nullptr);
    }

    std::size_t signalCount() const override { return m_signals.size(); }
    long long latestTime() const override { return m_reader->getLatestTime(); }
    std::size_t ask(std::size_t signal, long long from, long long to, long long resolution) override
    {
        m_answers.clear();
        m_reader->getValueEvents(from, to, resolution, m_signals[signal], m_answers);
        return m_answers.size();
    }

private:
    std::unique_ptr<WdbIEventReader> m_reader;
    std::vector<std::vector<WdbScalarBTree*>> m_signals;
    std::vector<WdbTimeByteValues> m_answers;
};

} // namespace

std::unique_ptr<Viewer> openEventViewer(const Workload& workload, const std::string& path,
                                        std::uint32_t signalCount)
{
    return std::make_unique<EventViewer>(workload, path, signalCount);
}

} // namespace tracewell::bench
