// SPDX-License-Identifier: BSD-3-Clause

#include "SimulatorProcess.h"

#include "platform/Process.h"

namespace Tracewell {

namespace {

constexpr char kSimulator[] = "zsim.exe";
constexpr int kNoProcess = -1;
/// The system is asked anew at each step, so ids that come into use meanwhile could close a circle.
constexpr int kLongestChain = 10000;

} // namespace

int findSimulatorProcessId(int startId, const ProcessLookup& find)
{
    int candidate = startId;
    for (int i = 0; i < kLongestChain; ++i) {
        ProcessEntry entry;
        if (!find(candidate, entry)) {
            return kNoProcess;
        }
        if (entry.parent == 0 || entry.parent == candidate || entry.executable == kSimulator) {
            return candidate;
        }
        candidate = entry.parent;
    }
    return kNoProcess;
}

int findSimulatorProcessId()
{
    return findSimulatorProcessId(static_cast<int>(getProcessId()), &findProcess);
}

} // namespace Tracewell
