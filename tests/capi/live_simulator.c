/* SPDX-License-Identifier: BSD-3-Clause */

/* A simulation on a live channel that goes on until its standard input ends. */

#include <tracewell.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    tracewell_recording* run =
        tracewell_recording_create_live(argc > 1 ? atoi(argv[1]) : 0, "live", "1ns");
    tracewell_declaration bus = tracewell_declaration_default("count");
    tracewell_variable count;
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    int64_t time = 0;
    bus.width = 16;
    tracewell_recording_open_scope(run, NULL, "sim");
    tracewell_recording_add(run, &bus, &count);
    do {
        tracewell_recording_time(run, ++time);
        tracewell_recording_number(run, count, (uint64_t)time);
    } while (poll(&input, 1, 0) == 0);
    tracewell_recording_time(run, ++time);
    tracewell_recording_number(run, count, 0xcafe);
    if (tracewell_recording_close(run) != TRACEWELL_OK) {
        fprintf(stderr, "live_simulator: %s\n", tracewell_error());
        return 1;
    }
    return 0;
}
