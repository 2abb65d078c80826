// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// For a C++ test bench of Verilator: include it in the place of verilated_vcd_c.h, and write
// VerilatedTracewellC for VerilatedVcdC.

#include "verilated_vcd_c.h"

#ifndef TRACEWELL_VERILATED_VCD_C_H
#error                                                                                             \
    "compile the model and the test bench with the flags of: pkg-config --cflags tracewell-verilator"
#endif

/// The trace of one or several models into a `.wdb`, or to a viewer while they run. What cannot be
/// written is told in a line on the standard error stream; isOpen() is false then, the simulation
/// goes on, and so does its exit code. One can be open at a time in a process.
class VerilatedTracewellC VL_NOT_FINAL : public VerilatedVcdC
{
public:
    using VerilatedVcdC::open;
    /// `store` is "events", "columns" or "transitions".
    void open(const char* filename, const char* store) VL_MT_SAFE
    {
        spTrace()->open(filename, store);
    }
    /// For `tracewell follow --channel CHANNEL`, in the place of a file.
    void openLive(int channel = 0) VL_MT_SAFE { spTrace()->openLive(channel); }
    /// Before open(): the file is to hold about the last `time` before its end, in units of the
    /// time resolution, and the run takes no more room than that.
    void keepLast(uint64_t time) VL_MT_SAFE { spTrace()->keepLast(time); }
    /// With keepLast(): writes what is kept by now, and closes. Otherwise flushes.
    void trigger() VL_MT_SAFE { spTrace()->trigger(); }
    /// Records that nothing is known after the last dump, and stops until on().
    void off() VL_MT_SAFE { spTrace()->off(); }
    /// Goes on with all values as they are.
    void on() VL_MT_SAFE { spTrace()->on(); }
};
