// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "platform/ProcessTree.h"

#include <functional>

namespace Tracewell {

using ProcessLookup = std::function<bool(int id, ProcessEntry& entry)>;

/// The nearest simulator front end ("zsim.exe") among a process and its ancestors, or the topmost
/// ancestor; -1 where the chain of ancestors breaks.
int findSimulatorProcessId(int startId, const ProcessLookup& find);

/// The same for this process, by what the system tells.
int findSimulatorProcessId();

} // namespace Tracewell
