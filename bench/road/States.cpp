// SPDX-License-Identifier: BSD-3-Clause

#include "StateQuestions.h"

#include "WdbAddressBTreeManager.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"
#include "WdbMultipleBucketBtreeDatabase.h"

#include <numeric>

namespace tracewell::bench {

namespace {

using namespace Tracewell;

/// A database with an index by time, open for reading.
class Index
{
public:
    explicit Index(const std::string& path)
    {
        m_files.open(path);
        m_database = std::make_unique<WdbMultipleBucketBtreeDatabase>(
            WdbIEventBlockDatabase::getEventDatabaseTypeId(m_files), m_files);
        m_database->initialize(WdbIEventBlockDatabase::getEventSection(m_files), false);
    }

    std::uint32_t ask(const Workload& workload, std::uint32_t signal, long long time)
    {
        m_states.assign(static_cast<std::size_t>(workload.sizeOf(signal)), {});
        m_database->findStates(workload.addressOf(signal), time, m_states, m_cost);
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < m_states.size() && i < sizeof value; ++i) {
            value |= static_cast<std::uint32_t>(m_states[i].m_value) << 8 * i;
        }
        return value;
    }
    const WdbEventBtree::SearchCost& cost() const { return m_cost; }

private:
    WdbFileManager m_files;
    std::unique_ptr<WdbMultipleBucketBtreeDatabase> m_database;
    std::vector<WdbEventBtree::ByteState> m_states;
    WdbEventBtree::SearchCost m_cost;
};

/// A static reader with the trees of the signals that were asked for.
class Trees
{
public:
    explicit Trees(const std::string& path)
        : m_reader(WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader))
    {
        m_reader->createReader("", path, 0, "");
    }

    std::uint32_t ask(const Workload& workload, std::uint32_t signal, long long time)
    {
        m_trees.clear();
        m_toScan.clear();
        WdbAddressBTreeManager& manager = m_reader->getBTreeManager();
        manager.getOrCreateByteBTrees(workload.addressOf(signal), workload.sizeOf(signal), m_trees,
                                      m_toScan);
        if (!m_toScan.empty()) {
            manager.scanWdbDatabaseMultiThread(m_toScan, nullptr);
        }
        m_answers.clear();
        m_reader->getValueEvents(time, time, 0, m_trees, m_answers);
        if (m_answers.empty() || m_answers.front().getTime() > time) {
            return 0;
        }
        std::uint32_t value = 0;
        for (unsigned int i = 0; i < m_trees.size() && i < sizeof value; ++i) {
            value |= static_cast<std::uint32_t>(m_answers.front().getValueAt(i).getValue())
                     << 8 * i;
        }
        return value;
    }

private:
    std::unique_ptr<WdbIEventReader> m_reader;
    std::vector<WdbScalarBTree*> m_trees;
    std::vector<WdbScalarBTree*> m_toScan;
    std::vector<WdbTimeByteValues> m_answers;
};

} // namespace

StateResult askIndex(const Workload& workload, long long end, const std::string& path)
{
    StateResult result;
    askCold(workload, end, result, [&](std::uint32_t signal, long long time) {
        return Index(path).ask(workload, signal, time);
    });
    constexpr std::size_t kQuestions = 5000;
    std::vector<std::uint32_t> signals(workload.signalCount());
    std::iota(signals.begin(), signals.end(), 0u);
    Index index(path);
    askWarm(end, signals, kQuestions, result, [&](std::uint32_t signal, long long time) {
        return index.ask(workload, signal, time);
    });
    result.nodes = index.cost().m_nodes / double{kQuestions};
    result.blocks = index.cost().m_blocks / double{kQuestions};
    return result;
}

StateResult askReader(const Workload& workload, long long end, const std::string& path)
{
    StateResult result;
    askCold(workload, end, result, [&](std::uint32_t signal, long long time) {
        return Trees(path).ask(workload, signal, time);
    });
    Trees trees(path);
    const std::vector<std::uint32_t> signals = workload.pick(20);
    for (const std::uint32_t signal : signals) {
        trees.ask(workload, signal, 0);
    }
    askWarm(end, signals, 5000, result, [&](std::uint32_t signal, long long time) {
        return trees.ask(workload, signal, time);
    });
    return result;
}

} // namespace tracewell::bench
