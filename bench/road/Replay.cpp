// SPDX-License-Identifier: BSD-3-Clause

#include "Readers.h"

#include "IEventTarget.h"
#include "WdbAddressBTreeManager.h"
#include "WdbEventReaderFactory.h"
#include "WdbMultiBtreeIterator.h"

#include <stdexcept>

namespace tracewell::bench {

namespace {

using namespace Tracewell;

/// Counts, and keeps the bytes as a listener would.
class Memory : public IEventTarget
{
public:
    explicit Memory(long long size) : m_bytes(static_cast<std::size_t>(size)) {}

    void valueChanged(IEventSource*, long long time, unsigned long long address,
                      unsigned char value, unsigned char) override
    {
        m_bytes[address] = value;
        m_isInOrder = m_isInOrder && time >= m_time;
        m_time = time;
        ++m_changes;
    }

    double changes() const
    {
        if (!m_isInOrder) {
            throw std::runtime_error("the replay was out of order");
        }
        return static_cast<double>(m_changes);
    }

private:
    std::vector<unsigned char> m_bytes;
    long long m_time = 0;
    std::size_t m_changes = 0;
    bool m_isInOrder = true;
};

} // namespace

ReplayResult replayAll(const Workload& workload, const std::string& path)
{
    ReplayResult result;
    const Stopwatch opening;
    const std::unique_ptr<WdbIEventReader> reader(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    reader->createReader("", path, 0, "");
    WdbAddressBTreeManager& manager = reader->getBTreeManager();
    std::vector<WdbScalarBTree*> toScan;
    std::vector<IEventSource::ListenerRange> ranges;
    for (const std::uint32_t signal : workload.pick(workload.signalCount())) {
        std::vector<WdbScalarBTree*> trees;
        manager.getOrCreateByteBTrees(workload.addressOf(signal), workload.sizeOf(signal), trees,
                                      toScan);
        ranges.push_back({static_cast<unsigned long long>(workload.addressOf(signal)),
                          static_cast<unsigned long long>(workload.sizeOf(signal))});
    }
    manager.scanWdbDatabaseMultiThread(toScan, nullptr);
    result.treesMs = opening.wall() / 1e6;

    Memory memory(workload.addressSize());
    const Stopwatch watch;
    for (WdbMultiBtreeIterator it(*reader, ranges, 0, 0, reader->getLatestTime(), -1); it; ++it) {
        it.emitEvents(memory);
    }
    result.wallMs = watch.wall() / 1e6;
    result.threadMs = watch.thread() / 1e6;
    result.byteChanges = memory.changes();
    return result;
}

} // namespace tracewell::bench
