// SPDX-License-Identifier: BSD-3-Clause

#include "Readers.h"
#include "Viewers.h"

#include <algorithm>

namespace tracewell::bench {

namespace {

std::unique_ptr<Viewer> openViewer(Store store, const Workload& workload, const std::string& path,
                                   std::uint32_t signalCount)
{
    return store == Store::Events    ? openEventViewer(workload, path, signalCount)
           : store == Store::Columns ? openColumnViewer(workload, path, signalCount)
                                     : openTransitionViewer(workload, path, signalCount);
}

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
    for (std::vector<double>& times : each) {
        asked.slowest = std::max(asked.slowest, median(times));
    }
    return asked;
}

} // namespace

ReadResult readOwn(Store store, const Workload& workload, const std::string& path,
                   std::uint32_t signalCount)
{
    ReadResult result;
    const Stopwatch watch;
    const std::unique_ptr<Viewer> viewer = openViewer(store, workload, path, signalCount);
    const auto askAll = [&] {
        for (std::size_t signal = 0; signal < viewer->signalCount(); ++signal) {
            result.changes += static_cast<double>(viewer->ask(signal, 0, viewer->latestTime(), 0));
        }
    };
    // The event store has the histories in its trees by now; the others have nothing but an index.
    if (store != Store::Events) {
        askAll();
    }
    result.historyMs = watch.wall() / 1e6;
    result.historyCpuMs = watch.process() / 1e6;
    if (store == Store::Events) {
        askAll();
    }
    return result;
}

DrawResult drawOwn(Store store, const Workload& workload, const std::string& path,
                   std::uint32_t signalCount, long long pixels)
{
    DrawResult result;
    const Stopwatch watch;
    const std::unique_ptr<Viewer> viewer = openViewer(store, workload, path, signalCount);
    const long long latest = viewer->latestTime();
    for (std::size_t signal = 0; signal < viewer->signalCount(); ++signal) {
        viewer->ask(signal, 0, latest, latest / pixels);
    }
    result.firstPictureMs = watch.wall() / 1e6;
    result.firstPictureCpuMs = watch.process() / 1e6;

    for (const long long factor : {1, 10, 100, 1000, 10000}) {
        const long long window = std::max<long long>(latest / factor, 1);
        const long long resolution = window / pixels;
        const long long from = (latest - window) / 2;
        const Asked draw = timeQuestion(*viewer, from, from + window, resolution);
        const Asked pan =
            timeQuestion(*viewer, from + window, from + window + window / 50, resolution);
        result.zooms.push_back({factor, draw.all, pan.all, draw.slowest, pan.slowest});
    }
    return result;
}

} // namespace tracewell::bench
