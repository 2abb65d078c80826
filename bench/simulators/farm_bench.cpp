// SPDX-License-Identifier: BSD-3-Clause

// farm_bench OUTPUT STEPS [STORE]; without an output nothing is traced. Prints the seconds that the
// simulating thread worked, and those that passed until the trace was closed.

#include "Vfarm.h"

#if TRACE == 1
#include "verilated_vcd_c.h"
using Trace = VerilatedVcdC;
#elif TRACE == 2
#include "verilated_fst_c.h"
using Trace = VerilatedFstC;
#else
#include "verilated_tracewell_c.h"
using Trace = VerilatedTracewellC;
#endif

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

static double secondsOf(clockid_t clock)
{
    timespec time;
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

int main(int, char** argv)
{
    const std::string output = argv[1];
    const long steps = std::atol(argv[2]);
    VerilatedContext context;
    context.traceEverOn(true);
    Vfarm farm{&context};
    Trace trace;
    farm.trace(&trace, 99);
    const bool isTraced = !output.empty();
    if (isTraced) {
#if TRACE == 3
        trace.open(output.c_str(), argv[3]);
#else
        trace.open(output.c_str());
#endif
    }
    const double threadStart = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    const double start = secondsOf(CLOCK_MONOTONIC);
    for (long step = 0; step < steps; ++step) {
        farm.clk = step & 1;
        farm.step = (step >> 3) & 1;
        farm.eval();
        if (isTraced) {
            trace.dump(context.time());
        }
        context.timeInc(5);
    }
    const double thread = secondsOf(CLOCK_THREAD_CPUTIME_ID) - threadStart;
    farm.final();
    if (isTraced) {
        trace.close();
    }
    std::printf("%.6f %.6f\n", thread, secondsOf(CLOCK_MONOTONIC) - start);
    return 0;
}
