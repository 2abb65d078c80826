// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>

namespace tracewell::bench {

struct ComparisonOptions
{
    std::size_t changes = 10000000;
    int runs = 3;
    /// For the files of the runs.
    std::string directory;
    /// This program, which runs itself for each measurement.
    std::string self;
    /// The command line; empty to leave the import out.
    std::string tracewell;
};

/// Runs ours and the peers in turn, `runs` times, and prints tables of the medians.
void compare(const ComparisonOptions& options);
/// The same for the database with an index by time.
void compareIndex(const ComparisonOptions& options);
/// Recordings in columns beside FST.
void compareColumns(const ComparisonOptions& options);

} // namespace tracewell::bench
