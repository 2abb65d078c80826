// SPDX-License-Identifier: BSD-3-Clause

#include "export/RunOutput.h"

#include "files/Interrupt.h"
#include "files/ProgressBar.h"

namespace tracewell {

std::string writeRun(ChangeStream& changes, RunOutput& output, const char* verb,
                     const InterruptGuard& interrupt)
{
    constexpr unsigned int kStepsOfCheck = 1024;
    ProgressBar bar(verb);
    for (unsigned int steps = 0; changes.next(); ++steps) {
        output.write(changes);
        if (steps % kStepsOfCheck == 0) {
            interrupt.check();
            output.check();
            bar.update(changes.progress());
        }
    }
    return output.finish(changes.latestTime(), changes.shortfalls().empty());
}

} // namespace tracewell
