// SPDX-License-Identifier: BSD-3-Clause

// Prints the process whose channels this one would meet, and the name of its own executable.

#include "SimulatorProcess.h"
#include "platform/Process.h"

#include <iostream>

int main()
{
    Tracewell::ProcessEntry self;
    Tracewell::findProcess(static_cast<int>(Tracewell::getProcessId()), self);
    std::cout << Tracewell::findSimulatorProcessId() << ' ' << self.executable << std::endl;
    return 0;
}
