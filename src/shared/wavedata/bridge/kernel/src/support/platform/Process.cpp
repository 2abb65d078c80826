// SPDX-License-Identifier: BSD-3-Clause

#include "platform/Process.h"

#include <sys/resource.h>
#include <unistd.h>

namespace Tracewell {

unsigned int getProcessId()
{
    return static_cast<unsigned int>(::getpid());
}

long long getProcessTime(bool inSystem)
{
    rusage usage = {};
    if (::getrusage(RUSAGE_SELF, &usage) != 0) {
        return 0;
    }
    const timeval& time = inSystem ? usage.ru_stime : usage.ru_utime;
    return time.tv_sec * 1000LL + time.tv_usec / 1000;
}

} // namespace Tracewell
