// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Lies before Verilator's header of this name when a model is compiled (-iquote), so that what
// `verilator --trace` generates traces into a wave database. The classes of a VCD have the names
// below in the model's code; all else of the trace is Verilator's own template.

#define TRACEWELL_VERILATED_VCD_C_H

#include "../ModelRecorder.h"

#include "verilated.h"
#include "verilated_trace.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

class VerilatedTracewellBuffer;

/// The back end behind VerilatedTrace. Public operations as in Verilator's classes of this kind.
class VerilatedTracewell VL_NOT_FINAL
    : public VerilatedTrace<VerilatedTracewell, VerilatedTracewellBuffer>
{
public:
    using Super = VerilatedTrace<VerilatedTracewell, VerilatedTracewellBuffer>;

    VerilatedTracewell();
    ~VerilatedTracewell();

    void open(const char* filename, const char* store = nullptr) VL_MT_SAFE_EXCLUDES(m_mutex);
    void openLive(int channel) VL_MT_SAFE_EXCLUDES(m_mutex);
    void close() VL_MT_SAFE_EXCLUDES(m_mutex);
    void flush() VL_MT_SAFE_EXCLUDES(m_mutex);
    void off() VL_MT_SAFE_EXCLUDES(m_mutex);
    void on() VL_MT_SAFE_EXCLUDES(m_mutex);
    void keepLast(uint64_t time) VL_MT_SAFE_EXCLUDES(m_mutex);
    void trigger() VL_MT_SAFE_EXCLUDES(m_mutex);
    bool isOpen() const VL_MT_SAFE { return m_recorder.isOpen(); }
    void openNext(bool) VL_MT_SAFE {}
    void rolloverSize(uint64_t) VL_MT_SAFE {}

    // Called by the model's code.
    void declEvent(uint32_t code, const char* name, bool array, int arraynum);
    void declBit(uint32_t code, const char* name, bool array, int arraynum);
    void declBus(uint32_t code, const char* name, bool array, int arraynum, int msb, int lsb);
    void declQuad(uint32_t code, const char* name, bool array, int arraynum, int msb, int lsb);
    void declArray(uint32_t code, const char* name, bool array, int arraynum, int msb, int lsb);
    void declDouble(uint32_t code, const char* name, bool array, int arraynum);

protected:
    void emitTimeChange(uint64_t timeui) override;
    bool preFullDump() override { return isOpen(); }
    bool preChangeDump() override { return isOpen(); }
    Buffer* getTraceBuffer() override;
    void commitTraceBuffer(Buffer* buffer) override;
    void configure(const VerilatedTraceConfig&) override {}

private:
    friend VerilatedTracewellBuffer;
    using Kind = tracewell::ModelRecorder::Kind;

    class Hold;
    void noteHolder() { m_holder.store(std::this_thread::get_id(), std::memory_order_relaxed); }
    void closeInOrder(std::thread::id ender);
    void declareNames();
    void declare(uint32_t code, const char* name, Kind kind, const int* arrayIndex,
                 const tracewell::ModelRecorder::Range& range);

    tracewell::ModelRecorder m_recorder;
    // The thread that had m_mutex last.
    std::atomic<std::thread::id> m_holder{};
    // Those that are not in use; kept, since a dump takes one for each part of the model.
    std::vector<Buffer*> m_buffers;

    VL_UNCOPYABLE(VerilatedTracewell);
};

/// What the model's code hands changes to. When the parts of a model are traced in parallel, each
/// into a buffer of its own, the changes wait there until the buffers are taken in turn.
class VerilatedTracewellBuffer VL_NOT_FINAL
{
    friend VerilatedTracewell;
    friend VerilatedTracewell::Buffer;
    friend VerilatedTracewell::OffloadBuffer;

protected:
    explicit VerilatedTracewellBuffer(VerilatedTracewell& owner);
    virtual ~VerilatedTracewellBuffer() = default;

    void emitEvent(uint32_t code, VlEvent newval);
    void emitBit(uint32_t code, CData newval) { emitBits(code, newval); }
    void emitCData(uint32_t code, CData newval, int) { emitBits(code, newval); }
    void emitSData(uint32_t code, SData newval, int) { emitBits(code, newval); }
    void emitIData(uint32_t code, IData newval, int) { emitBits(code, newval); }
    void emitQData(uint32_t code, QData newval, int) { emitBits(code, newval); }
    void emitWData(uint32_t code, const WData* newvalp, int bits);
    void emitDouble(uint32_t code, double newval);

    VerilatedTracewell& m_owner;

private:
    void emitBits(uint32_t code, uint64_t bits);
    // Into the recorder, what waits.
    void take();

    tracewell::ModelRecorder& m_recorder;
    const bool m_waits;
    // For each change its code, its kind and words, then its value in words of 32 bits.
    std::vector<uint32_t> m_waiting;
};

/// What a test bench holds. As Verilator's class of this name, for a wave database: openNext and
/// rolloverSize do nothing, since there is one file.
class VerilatedVcdC VL_NOT_FINAL
{
public:
    VerilatedVcdC() = default;
    virtual ~VerilatedVcdC() { close(); }

    bool isOpen() const VL_MT_SAFE { return m_trace.isOpen(); }
    virtual void open(const char* filename) VL_MT_SAFE { m_trace.open(filename); }
    void openNext(bool incFilename = true) VL_MT_SAFE { m_trace.openNext(incFilename); }
    void rolloverSize(size_t size) VL_MT_SAFE { m_trace.rolloverSize(size); }
    void rolloverMB(size_t megabytes) VL_MT_SAFE { m_trace.rolloverSize(megabytes << 20); }
    void close() VL_MT_SAFE { m_trace.close(); }
    void flush() VL_MT_SAFE { m_trace.flush(); }
    void dump(uint64_t timeui) VL_MT_SAFE;
    void dump(double time) { dump(static_cast<uint64_t>(time)); }
    void dump(uint32_t time) { dump(static_cast<uint64_t>(time)); }
    void dump(int time) { dump(static_cast<uint64_t>(time)); }
    void set_time_unit(const char* unit) VL_MT_SAFE;
    void set_time_unit(const std::string& unit) VL_MT_SAFE { set_time_unit(unit.c_str()); }
    void set_time_resolution(const char* unit) VL_MT_SAFE;
    void set_time_resolution(const std::string& unit) VL_MT_SAFE
    {
        set_time_resolution(unit.c_str());
    }
    void dumpvars(int level, const std::string& hier) VL_MT_SAFE;
    VerilatedTracewell* spTrace() { return &m_trace; }

private:
    VerilatedTracewell m_trace;

    VL_UNCOPYABLE(VerilatedVcdC);
};

// A macro, since verilated.h declares a class of this name, and since the run-time library defines
// that class in an object that every program has: ours must be another one.
#define VerilatedVcd VerilatedTracewell
