// SPDX-License-Identifier: BSD-3-Clause

// Compiled with the model, against the headers of the Verilator at hand.

#include "verilated_tracewell_c.h"

// The template's constructor calls them before it defines them.
template <> void VerilatedTracewell::Super::set_time_unit(const char*);
template <> void VerilatedTracewell::Super::set_time_resolution(const char*);

#define VL_SUB_T VerilatedTracewell
#define VL_BUF_T VerilatedTracewellBuffer
#include "verilated_trace_imp.h"
#undef VL_SUB_T
#undef VL_BUF_T

#include <atomic>
#include <chrono>
#include <cstring>

namespace {

enum Waiting : uint32_t { kBits, kWords, kReal, kFiring };

} // namespace

/// Of the mutex that keeps all operations apart.
class VerilatedTracewell::Hold final
{
public:
    explicit Hold(VerilatedTracewell& trace) : m_lock{trace.m_mutex} { trace.noteHolder(); }

private:
    const VerilatedLockGuard m_lock;
};

VerilatedTracewell::VerilatedTracewell()
    : m_recorder([this](std::thread::id ender) { closeInOrder(ender); })
{}

VerilatedTracewell::~VerilatedTracewell()
{
    close();
    for (Buffer* const buffer : m_buffers) {
        delete buffer;
    }
}

void VerilatedTracewell::open(const char* filename, const char* store) VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    if (!isOpen()) {
        declareNames();
        m_recorder.openFile(filename, store);
    }
}

void VerilatedTracewell::openLive(int channel) VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    if (!isOpen()) {
        declareNames();
        m_recorder.openLive(channel);
    }
}

void VerilatedTracewell::close() VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.close();
}

void VerilatedTracewell::flush() VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.flush();
}

void VerilatedTracewell::off() VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.off();
}

void VerilatedTracewell::on() VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.on();
}

void VerilatedTracewell::keepLast(uint64_t time) VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.keepLast(time);
}

void VerilatedTracewell::trigger() VL_MT_SAFE_EXCLUDES(m_mutex)
{
    const Hold hold{*this};
    m_recorder.trigger();
}

void VerilatedTracewell::closeInOrder(std::thread::id ender)
{
    while (!m_mutex.try_lock()) {
        if (ender != std::thread::id() && m_holder == ender) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    m_recorder.close();
    m_mutex.unlock();
}

void VerilatedTracewell::emitTimeChange(uint64_t timeui)
{
    // In a dump, which has the mutex.
    noteHolder();
    m_recorder.setTime(timeui);
}

void VerilatedTracewell::declareNames()
{
    m_recorder.beginNames(timeResStr().c_str());
    Super::traceInit();
    fullDump(true);
    // Buffers know where the values before lie, and that may have changed.
    for (Buffer* const buffer : m_buffers) {
        delete buffer;
    }
    m_buffers.clear();
}

void VerilatedTracewell::declare(uint32_t code, const char* name, Kind kind, const int* arrayIndex,
                                 const tracewell::ModelRecorder::Range& range)
{
    const int difference = range.left - range.right;
    const int bits = kind == Kind::Real ? 64 : (difference < 0 ? -difference : difference) + 1;
    if (!Super::declCode(code, name, static_cast<uint32_t>(bits), false)) {
        return;
    }
    std::string path = namePrefix() + name;
    for (char& c : path) {
        if (isScopeEscape(c)) {
            c = ' ';
        }
    }
    m_recorder.declare(code, path.c_str(), kind, arrayIndex, range);
}

void VerilatedTracewell::declEvent(uint32_t code, const char* name, bool array, int arraynum)
{
    declare(code, name, Kind::Event, array ? &arraynum : nullptr, {false, 0, 0});
}

void VerilatedTracewell::declBit(uint32_t code, const char* name, bool array, int arraynum)
{
    declare(code, name, Kind::Bits, array ? &arraynum : nullptr, {false, 0, 0});
}

void VerilatedTracewell::declBus(uint32_t code, const char* name, bool array, int arraynum, int msb,
                                 int lsb)
{
    declare(code, name, Kind::Bits, array ? &arraynum : nullptr, {true, msb, lsb});
}

void VerilatedTracewell::declQuad(uint32_t code, const char* name, bool array, int arraynum,
                                  int msb, int lsb)
{
    declBus(code, name, array, arraynum, msb, lsb);
}

void VerilatedTracewell::declArray(uint32_t code, const char* name, bool array, int arraynum,
                                   int msb, int lsb)
{
    declBus(code, name, array, arraynum, msb, lsb);
}

void VerilatedTracewell::declDouble(uint32_t code, const char* name, bool array, int arraynum)
{
    declare(code, name, Kind::Real, array ? &arraynum : nullptr, {false, 0, 0});
}

VerilatedTracewell::Buffer* VerilatedTracewell::getTraceBuffer()
{
    if (offload()) {
        VL_FATAL_MT(__FILE__, __LINE__, "",
                    "This trace class has no offloading; build with --trace");
    }
    if (m_buffers.empty()) {
        return new Buffer{*this};
    }
    Buffer* const buffer = m_buffers.back();
    m_buffers.pop_back();
    return buffer;
}

void VerilatedTracewell::commitTraceBuffer(Buffer* buffer)
{
    // Verilator waits for a buffer's thread by a relaxed load, which alone does not bring along
    // what that thread wrote.
    std::atomic_thread_fence(std::memory_order_acquire);
    buffer->take();
    m_buffers.push_back(buffer);
}

VerilatedTracewellBuffer::VerilatedTracewellBuffer(VerilatedTracewell& owner)
    : m_owner(owner), m_recorder(owner.m_recorder), m_waits(owner.parallel())
{}

VL_ATTR_ALWINLINE void VerilatedTracewellBuffer::emitBits(uint32_t code, uint64_t bits)
{
    if (VL_LIKELY(!m_waits)) {
        m_recorder.changeBits(code, bits);
        return;
    }
    m_waiting.insert(m_waiting.end(),
                     {code, kBits, static_cast<uint32_t>(bits), static_cast<uint32_t>(bits >> 32)});
}

VL_ATTR_ALWINLINE void VerilatedTracewellBuffer::emitWData(uint32_t code, const WData* newvalp,
                                                           int bits)
{
    if (!m_waits) {
        m_recorder.changeWords(code, newvalp);
        return;
    }
    const auto words = static_cast<uint32_t>(VL_WORDS_I(bits));
    m_waiting.insert(m_waiting.end(), {code, kWords | words << 2});
    m_waiting.insert(m_waiting.end(), newvalp, newvalp + words);
}

VL_ATTR_ALWINLINE void VerilatedTracewellBuffer::emitDouble(uint32_t code, double newval)
{
    if (!m_waits) {
        m_recorder.changeReal(code, newval);
        return;
    }
    uint32_t words[2];
    std::memcpy(words, &newval, sizeof words);
    m_waiting.insert(m_waiting.end(), {code, kReal, words[0], words[1]});
}

VL_ATTR_ALWINLINE void VerilatedTracewellBuffer::emitEvent(uint32_t code, VlEvent newval)
{
    if (!newval.isTriggered()) {
        return;
    }
    if (!m_waits) {
        m_recorder.fire(code);
        return;
    }
    m_waiting.insert(m_waiting.end(), {code, kFiring});
}

void VerilatedTracewellBuffer::take()
{
    for (const uint32_t* next = m_waiting.data(); next != m_waiting.data() + m_waiting.size();) {
        const uint32_t code = *next++;
        const uint32_t kind = *next++;
        switch (kind & 3) {
        case kBits:
            m_recorder.changeBits(code, next[0] | static_cast<uint64_t>(next[1]) << 32);
            next += 2;
            break;
        case kWords:
            m_recorder.changeWords(code, next);
            next += kind >> 2;
            break;
        case kReal: {
            double value;
            std::memcpy(&value, next, sizeof value);
            m_recorder.changeReal(code, value);
            next += 2;
            break;
        }
        case kFiring:
            m_recorder.fire(code);
            break;
        }
    }
    m_waiting.clear();
}

void VerilatedVcdC::dump(uint64_t timeui) VL_MT_SAFE
{
    m_trace.dump(timeui);
}

void VerilatedVcdC::set_time_unit(const char* unit) VL_MT_SAFE
{
    m_trace.set_time_unit(unit);
}

void VerilatedVcdC::set_time_resolution(const char* unit) VL_MT_SAFE
{
    m_trace.set_time_resolution(unit);
}

void VerilatedVcdC::dumpvars(int level, const std::string& hier) VL_MT_SAFE
{
    m_trace.dumpvars(level, hier);
}
