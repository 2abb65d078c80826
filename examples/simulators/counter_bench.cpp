// SPDX-License-Identifier: BSD-3-Clause

// A test bench for Verilator, with the trace of the model in counter.wdb. With verilated_vcd_c.h
// and VerilatedVcdC it would be a VCD. The recipe is in docs/simulators.md.

#include "Vcounter.h"
#include "verilated_tracewell_c.h"

int main(int argc, char** argv)
{
    VerilatedContext context;
    context.commandArgs(argc, argv);
    context.traceEverOn(true);
    Vcounter counter{&context};
    VerilatedTracewellC trace;
    counter.trace(&trace, 99);
    trace.open("counter.wdb");
    for (int step = 0; step < 2000; ++step) {
        counter.clk = step & 1;
        counter.reset = step < 4;
        counter.eval();
        trace.dump(context.time());
        context.timeInc(5);
    }
    counter.final();
    trace.close();
    return 0;
}
