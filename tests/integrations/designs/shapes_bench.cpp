// SPDX-License-Identifier: BSD-3-Clause

// shapes_bench OUTPUT STEPS MODE [STORE]; ends with code 3.
#ifdef WITH_TRACEWELL
#include "verilated_tracewell_c.h"
using Trace = VerilatedTracewellC;
#else
#include "verilated_vcd_c.h"
using Trace = VerilatedVcdC;
#endif

#include "Vshapes.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

static void open(Trace& trace, const std::string& output, int argc, char** argv)
{
#ifdef WITH_TRACEWELL
    if (std::string(argv[3]) == "live") {
        trace.openLive(911);
        return;
    }
    if (argc > 4) {
        trace.open(output.c_str(), argv[4]);
        return;
    }
#endif
    (void)argc, (void)argv;
    trace.open(output.c_str());
}

int main(int argc, char** argv)
{
    const std::string output = argv[1];
    const int steps = std::atoi(argv[2]);
    const std::string mode = argv[3];
    VerilatedContext context;
    context.traceEverOn(true);
    Vshapes top{&context};
    Trace trace;
    top.trace(&trace, 99);
    if (mode == "part") {
        trace.dumpvars(2, "TOP.shapes.lane[1]");
    } else if (mode == "nowhere") {
        trace.dumpvars(2, "TOP.shapes.lane[9]");
    }
    open(trace, output, argc, argv);
    if (mode == "second") {
        Trace second;
        open(second, output + "2", argc, argv);
    }
    for (int i = 0; i < steps; ++i) {
        if (mode == "live") {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        top.clk = i & 1;
        top.seed[0] = 0x12345u * i;
        top.seed[1] = 77777u * i * i;
        top.seed[2] = i & 63;
        top.eval();
        trace.dump(context.time());
        trace.dump(context.time());
        context.timeInc(i == 50 ? 10000000000 : 5);
        if (i == 100 && mode == "again") {
            trace.close();
            open(trace, output + "2", argc, argv);
        }
#ifdef WITH_TRACEWELL
        if (i == 100 && mode == "off") {
            trace.off();
        } else if (i == 200 && mode == "off") {
            trace.on();
        }
#endif
    }
    if (mode == "exit") {
        std::exit(3);
    } else if (mode == "thread") {
        std::thread([] { std::exit(3); }).join();
    } else if (mode == "abort") {
        std::abort();
    }
    const int signal = mode == "kill"   ? SIGKILL
                       : mode == "int"  ? SIGINT
                       : mode == "term" ? SIGTERM
                                        : 0;
    if (signal != 0) {
        std::raise(signal);
        // A model that hangs.
        std::this_thread::sleep_for(std::chrono::minutes(1));
    }
    top.final();
    trace.close();
    return 3;
}
