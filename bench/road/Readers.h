#pragma once

#include "Stopwatch.h"
#include "Workload.h"

#include <string>
#include <utility>

namespace tracewell::bench {

struct ReadResult
{
    /// From opening the file to the whole histories of the signals in memory.
    double historyMs = 0;
    /// Processor time of all threads.
    double historyCpuMs = 0;
    /// How many changes these are (ours: answers of one signal each at full resolution).
    double changes = 0;
};

enum class Store { Events, Transitions };

ReadResult readOwn(Store store, const Workload& workload, const std::string& path,
                   std::uint32_t signalCount);
ReadResult readFst(const Workload& workload, const std::string& path, std::uint32_t signalCount);

struct DrawResult
{
    /// From opening the file to the drawing answers of all signals over the whole run.
    double firstPictureMs = 0;
    /// Processor time of all threads.
    double firstPictureCpuMs = 0;
    struct Zoom
    {
        /// The window is the run divided by this.
        long long factor;
        /// For all signals together.
        double drawUs;
        /// The strip that comes into view when the window moves by a fiftieth of its width.
        double panUs;
        /// For the slowest signal.
        double slowestDrawUs;
        double slowestPanUs;
    };
    std::vector<Zoom> zooms;
};

/// The questions of a viewer that shows `signalCount` signals on `pixels` pixels.
DrawResult drawOwn(Store store, const Workload& workload, const std::string& path,
                   std::uint32_t signalCount, long long pixels);

} // namespace tracewell::bench
