#include "Readers.h"

#include "WdbAddressBTreeManager.h"
#include "WdbEventReaderFactory.h"

#include <algorithm>
#include <memory>

namespace tracewell::bench {

namespace {

using Tracewell::WdbEventReaderFactory;
using Tracewell::WdbIEventReader;
using Tracewell::WdbScalarBTree;
using Tracewell::WdbTimeByteValues;

/// A viewer of some signals: their trees are made and filled when it is made.
class Viewer
{
public:
    Viewer(const Workload& workload, const std::string& path, std::uint32_t signalCount)
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

    std::size_t signalCount() const { return m_signals.size(); }
    long long latestTime() const { return m_reader->getLatestTime(); }

    /// The number of answers.
    std::size_t ask(std::size_t signal, long long from, long long to, long long resolution)
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

struct Asked
{
    double all = 0;
    double slowest = 0;
};

/// Microseconds of one question to every signal: the median of several rounds.
Asked timeQuestion(Viewer& viewer, long long from, long long to, long long resolution)
{
    constexpr std::size_t kRounds = 11;
    std::vector<double> all;
    std::vector<std::vector<double>> each(viewer.signalCount());
    for (std::size_t round = 0; round < kRounds; ++round) {
        double sum = 0;
        for (std::size_t signal = 0; signal < viewer.signalCount(); ++signal) {
            const Stopwatch watch;
            viewer.ask(signal, from, to, resolution);
            each[signal].push_back(watch.wall() / 1e3);
            sum += each[signal].back();
        }
        all.push_back(sum);
    }
    const auto median = [](std::vector<double>& values) {
        std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
        return values[kRounds / 2];
    };
    Asked asked;
    asked.all = median(all);
    for (std::vector<double>& times : each)
        asked.slowest = std::max(asked.slowest, median(times));
    return asked;
}

} // namespace

ReadResult readOwn(const Workload& workload, const std::string& path, std::uint32_t signalCount)
{
    ReadResult result;
    const Stopwatch watch;
    Viewer viewer(workload, path, signalCount);
    result.historyMs = watch.wall() / 1e6;
    result.historyCpuMs = watch.process() / 1e6;
    for (std::size_t signal = 0; signal < viewer.signalCount(); ++signal)
        result.changes += static_cast<double>(viewer.ask(signal, 0, viewer.latestTime(), 0));
    return result;
}

DrawResult drawOwn(const Workload& workload, const std::string& path, std::uint32_t signalCount,
                   long long pixels)
{
    DrawResult result;
    const Stopwatch watch;
    Viewer viewer(workload, path, signalCount);
    const long long latest = viewer.latestTime();
    for (std::size_t signal = 0; signal < viewer.signalCount(); ++signal)
        viewer.ask(signal, 0, latest, latest / pixels);
    result.firstPictureMs = watch.wall() / 1e6;
    result.firstPictureCpuMs = watch.process() / 1e6;

    for (const long long factor : {1, 10, 100, 1000, 10000}) {
        const long long window = std::max<long long>(latest / factor, 1);
        const long long resolution = window / pixels;
        const long long from = (latest - window) / 2;
        const Asked draw = timeQuestion(viewer, from, from + window, resolution);
        const Asked pan =
            timeQuestion(viewer, from + window, from + window + window / 50, resolution);
        result.zooms.push_back({factor, draw.all, pan.all, draw.slowest, pan.slowest});
    }
    return result;
}

} // namespace tracewell::bench
