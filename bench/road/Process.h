// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <map>
#include <string>
#include <vector>

namespace tracewell::bench {

struct ProcessResult
{
    /// What it printed: "name=number" lines.
    std::map<std::string, double> values;
    double wallMs = 0;
    double processorMs = 0;
    double peakMib = 0;
};

/// Runs a program to its end and takes its time and memory, on one processor if pinned.
/// \throws std::runtime_error when it fails.
ProcessResult runProcess(const std::vector<std::string>& command, bool pinned);

} // namespace tracewell::bench
