// SPDX-License-Identifier: BSD-3-Clause

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

enum class Store { Events, Transitions, Columns };

ReadResult readOwn(Store store, const Workload& workload, const std::string& path,
                   std::uint32_t signalCount);
ReadResult readFst(const Workload& workload, const std::string& path, std::uint32_t signalCount);

/// What signals are at times all over the run.
struct StateResult
{
    /// From opening the file to the answer, the median.
    double coldUs = 0;
    double slowestColdUs = 0;
    /// Processor time of all threads, the mean.
    double coldProcessorUs = 0;
    /// Processor time of a question to a file that is open, the mean.
    double warmUs = 0;
    /// Of all answers to cold questions, the same for every reader.
    double check = 0;
    /// What the index made a warm question read.
    double nodes = 0;
    double blocks = 0;
};

// `end` is that of the run.

/// By the index: warm questions go to all signals in turn, at random times.
StateResult askIndex(const Workload& workload, long long end, const std::string& path);
/// By the static reader: warm questions go to the signals whose trees are there.
StateResult askReader(const Workload& workload, long long end, const std::string& path);
/// In columns: warm questions go to all signals, at random times.
StateResult askColumns(const Workload& workload, long long end, const std::string& path);
/// By reading the signal whole, as a viewer does, and by the FST reader's own question for a time.
StateResult askFst(const Workload& workload, long long end, const std::string& path);
StateResult askFstAtTime(const Workload& workload, long long end, const std::string& path);

struct ReplayResult
{
    /// From opening the file to trees with the histories of all signals.
    double treesMs = 0;
    /// What the replay takes once the trees are there.
    double wallMs = 0;
    double threadMs = 0;
    /// How many bytes that changed it delivered.
    double byteChanges = 0;
};

ReplayResult replayAll(const Workload& workload, const std::string& path);
/// Of a recording in columns; delivers changes of whole fields, and has no trees.
ReplayResult replayColumns(const std::string& path);

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
