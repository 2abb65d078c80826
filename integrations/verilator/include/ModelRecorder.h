// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#if defined(__GNUC__)
#define TRACEWELL_VERILATOR_API __attribute__((visibility("default")))
#else
#define TRACEWELL_VERILATOR_API
#endif

namespace tracewell {

struct RecorderOptions;

/// What a trace of Verilator's stands on: takes the names and the two-state values of a model, by
/// the codes that the model gives its signals, and records them in a file or for a viewer. Knows
/// nothing of Verilator, so that it need not be built again for each version.
///
/// Nothing is thrown and nothing ends the process: what goes wrong is a line on the standard error
/// stream, and the recording stops. One can be open at a time in a process. One thread at a time.
class TRACEWELL_VERILATOR_API ModelRecorder
{
public:
    enum class Kind { Bits, Real, Event };
    struct Range
    {
        bool isStated;
        int left;
        int right;
    };

    /// For a process that ends in the middle of a run: on another thread, calls close() under the
    /// lock that keeps the other operations apart, unless `ender` holds that, a thread that does
    /// not go on before it returns.
    using CloseInOrder = std::function<void(std::thread::id ender)>;

    explicit ModelRecorder(CloseInOrder closeInOrder);
    ModelRecorder(const ModelRecorder&) = delete;
    ModelRecorder& operator=(const ModelRecorder&) = delete;
    /// Closes the recording, so that it is whole.
    ~ModelRecorder();

    /// Forgets all names. `resolution` is the unit of times: "1ps".
    void beginNames(const char* resolution);
    /// `path` is the scopes and the name, with blanks between. A scope may end with a byte that
    /// tells its kind, 128 plus a VltTraceScope. A code that was declared before is one more name
    /// for the same signal, and passed over where that name is the same too.
    void declare(std::uint32_t code, const char* path, Kind kind, const int* arrayIndex,
                 const Range& range);

    /// Before opening a file: it is to hold about the last `time` before its end, and the run takes
    /// no more room than that; 0 for all. TRACEWELL_LAST comes before it: a number, or a time with
    /// a unit.
    void keepLast(std::uint64_t time);
    /// Both false, with a line, when that cannot be. `store` is "events", "columns", "transitions"
    /// or null for the default. The environment comes before what is asked here: TRACEWELL_STORE,
    /// TRACEWELL_SYNC (seconds) and TRACEWELL_LIVE (a channel, in the place of a file).
    bool openFile(const char* name, const char* store);
    bool openLive(int channel);
    bool isOpen() const;

    /// What follows is at this time. Times go up.
    void setTime(std::uint64_t time);
    // New values of signals. A code that was not declared is passed over.

    /// At most 64 bits; those above the signal's width are 0.
    void changeBits(std::uint32_t code, std::uint64_t bits);
    /// Bit 0 first; as many words as the signal's width takes.
    void changeWords(std::uint32_t code, const std::uint32_t* words);
    void changeReal(std::uint32_t code, double value);
    void fire(std::uint32_t code);

    /// Records that nothing is known from now on, and stops.
    void off();
    /// Goes on with all values as they are by now.
    void on();
    /// With keepLast(): the file holds what is kept by now, and is closed. Otherwise flushes.
    void trigger();
    /// Makes what was traced so far readable by others.
    void flush();
    /// Finishes the file, or leaves the channel. Done at the end of the process too: at exit(), and
    /// before SIGINT, SIGTERM, SIGHUP and abort() take effect, where the program has no handler.
    void close();

private:
    struct State;

    bool open(const RecorderOptions& options);
    bool claim();
    static void closeForEnd(std::thread::id ender);

    std::unique_ptr<State> m_state;
    const CloseInOrder m_closeInOrder;
};

} // namespace tracewell
