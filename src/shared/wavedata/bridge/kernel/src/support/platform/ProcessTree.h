// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace Tracewell {

/// What the system tells about a running process.
struct ProcessEntry
{
    /// 0 for a process that has none which this one could see.
    int parent = 0;
    /// The whole name of its executable, without the directory.
    std::string executable;
};

/// False when there is no such process, or none that this one may see.
bool findProcess(int id, ProcessEntry& entry);

} // namespace Tracewell
