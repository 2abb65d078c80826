// SPDX-License-Identifier: BSD-3-Clause

#include "files/TimeReport.h"

#include "WdbRuntime.h"

#include <iostream>

namespace tracewell {

namespace {

bool s_isWanted = false;

WdbRuntime& meter()
{
    static WdbRuntime runtime(true);
    return runtime;
}

} // namespace

void TimeReport::start()
{
    meter();
}

bool& TimeReport::isWanted()
{
    return s_isWanted;
}

void TimeReport::write()
{
    if (s_isWanted) {
        s_isWanted = false;
        std::cerr << "tracewell: ";
        meter().report(std::cerr);
        std::cerr << std::endl;
    }
}

void TimeReport::leaveToChild()
{
    s_isWanted = false;
}

} // namespace tracewell
