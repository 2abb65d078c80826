/* SPDX-License-Identifier: BSD-3-Clause */

/* A simulator in C that records what it does: a counter, its carry and what it is told to do.
 *
 *   cc simulator.c -ltracewell -o simulator && ./simulator counter.wdb
 */

#include <tracewell.h>

#include <stdio.h>

enum { IDLE, COUNT, CLEAR };

static const char* const kLetters[] = {"00", "01", "10"};
static const char* const kNames[] = {"IDLE", "COUNT", "CLEAR"};

static int failed(void)
{
    fprintf(stderr, "simulator: %s\n", tracewell_error());
    return 1;
}

int main(int argc, char** argv)
{
    tracewell_recording* run =
        tracewell_recording_create(argc > 1 ? argv[1] : "counter.wdb", "1ns");
    if (run == NULL) {
        return failed();
    }

    tracewell_variable clk, command, count, carry, load;
    tracewell_declaration wire = tracewell_declaration_default("clk");
    tracewell_declaration bus = tracewell_declaration_default("count");
    tracewell_declaration state = tracewell_declaration_default("command");
    tracewell_declaration event = tracewell_declaration_default("carry");
    tracewell_declaration real = tracewell_declaration_default("load");
    bus.width = 4;
    state.width = 2;
    state.value_letters = kLetters;
    state.value_names = kNames;
    state.value_count = 3;
    event.kind = "event";
    real.kind = "real";
    real.width = 64;
    tracewell_recording_open_scope(run, NULL, "top");
    tracewell_recording_add(run, &wire, &clk);
    tracewell_recording_open_scope(run, NULL, "counter");
    tracewell_recording_add(run, &state, &command);
    tracewell_recording_add(run, &bus, &count);
    tracewell_recording_add(run, &event, &carry);
    tracewell_recording_add(run, &real, &load);

    unsigned value = 0;
    for (int cycle = 0; cycle < 100; ++cycle) {
        const int now = cycle < 2 ? IDLE : cycle % 40 == 39 ? CLEAR : COUNT;
        tracewell_recording_time(run, 10 * cycle);
        tracewell_recording_number(run, clk, 1);
        tracewell_recording_number(run, command, (uint64_t)now);
        if (cycle < 2) {
            tracewell_recording_letters(run, count, "xxxx");
        } else {
            value = now == CLEAR ? 0 : (value + 1) % 16;
            tracewell_recording_number(run, count, value);
            tracewell_recording_real(run, load, value / 16.0);
            if (value == 0 && now == COUNT) {
                tracewell_recording_fire(run, carry);
            }
        }
        tracewell_recording_time(run, 10 * cycle + 5);
        tracewell_recording_number(run, clk, 0);
    }
    /* What went wrong meanwhile is told here too. */
    return tracewell_recording_close(run) == TRACEWELL_OK ? 0 : failed();
}
