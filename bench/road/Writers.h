// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Stopwatch.h"
#include "Workload.h"

#include <string>

namespace tracewell::bench {

struct WriteResult
{
    explicit WriteResult(const Stopwatch& watch)
        : threadNs(watch.thread()), processNs(watch.process()), wallNs(watch.wall())
    {}

    /// Processor time of the calling thread, from open to the end of close.
    double threadNs;
    /// The same of all threads.
    double processNs;
    double wallNs;
    /// What a peer without a file would have stored; 0 to take the file's size.
    double bytes = 0;
};

/// The stand-alone writer, driven as a kernel drives it.
WriteResult writeOwn(const Workload& workload, const std::string& path, unsigned int division);
/// An event database driven directly, without helper threads: lists of blocks in buckets, or an
/// index by time in each.
WriteResult writeLists(const Workload& workload, const std::string& path);
WriteResult writeIndexed(const Workload& workload, const std::string& path);
/// The writer of the transition database, driven in the same way.
WriteResult writeTransitions(const Workload& workload, const std::string& path);
/// A recording in columns, whose writer has a helper thread.
WriteResult writeColumns(const Workload& workload, const std::string& path);
/// FST with LZ4.
WriteResult writeFst(const Workload& workload, const std::string& path);
/// VCD text with no more work than it takes.
WriteResult writeVcd(const Workload& workload, const std::string& path);

// Physical bounds: event records, block by block and bucket by bucket as the database lays them
// out, that go nowhere.
WriteResult appendRecords(const Workload& workload);
WriteResult compressFresh(const Workload& workload);
WriteResult compressReused(const Workload& workload);

} // namespace tracewell::bench
