// SPDX-License-Identifier: BSD-3-Clause

#include "ModelRecorder.h"

#include <tracewell/ThreadSafety.h>

#include "EndWatch.h"
#include "ModelNames.h"
#include "recorder/OptionValues.h"
#include "recorder/Recorder.h"
#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace tracewell {

namespace {

void takeStore(const std::string& source, std::string_view store, RecorderOptions& options)
{
    if (const std::optional<Store> found = findRecorderStore(store)) {
        options.store = *found;
    } else {
        tell(fmt::format("{}{} {}", source, store, kNoStore));
    }
}

void takeEnvironment(RecorderOptions& options)
{
    if (const char* const store = std::getenv("TRACEWELL_STORE")) {
        takeStore("TRACEWELL_STORE=", store, options);
    }
    if (const char* const text = std::getenv("TRACEWELL_SYNC")) {
        if (const std::optional<double> seconds = parseSeconds(text)) {
            options.syncSeconds = *seconds;
        } else {
            tell(fmt::format("TRACEWELL_SYNC={} {}", text, kNoSeconds));
        }
    }
    if (const char* const text = std::getenv("TRACEWELL_LIVE")) {
        if (const std::optional<int> channel = parseChannel(text)) {
            options.output.clear();
            options.channel = *channel;
        } else {
            tell(fmt::format("TRACEWELL_LIVE={} {}", text, kNoChannel));
        }
    }
}

/// The recorder that is open, since the library's trace functions know one writer, and the one that
/// is being closed for the end of the process. Guards only the pointers; a recorder itself belongs
/// to one thread.
Tracewell::Mutex s_openMutex;
ModelRecorder* s_open TRACEWELL_GUARDED_BY(s_openMutex) = nullptr;
ModelRecorder* s_ending TRACEWELL_GUARDED_BY(s_openMutex) = nullptr;

/// Its unit is known only with the names.
void takeLast(const Timescale& timescale, RecorderOptions& options)
{
    if (const char* const text = std::getenv("TRACEWELL_LAST")) {
        try {
            options.window = TimeOption{"TRACEWELL_LAST", text}.in(TimeText(timescale));
        } catch (const Failure& e) {
            tell(e.what());
        }
    }
}

void release(const ModelRecorder* recorder)
{
    const Tracewell::MutexLock lock(s_openMutex);
    if (s_open == recorder) {
        s_open = nullptr;
        EndWatch::end();
    }
}

/// Until nobody closes the recorder from outside, and nobody will.
void waitForEnd(const ModelRecorder* recorder)
{
    Tracewell::MutexLock lock(s_openMutex);
    while (s_ending == recorder) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.lock();
    }
}

} // namespace

struct ModelRecorder::State
{
    ModelNames names{""};
    std::vector<std::uint32_t> objects;
    std::optional<Recorder> recorder;
    long long window = 0;
    /// Null until something was opened.
    ValueRecorder* values = nullptr;

    std::uint32_t objectOf(std::uint32_t code) const
    {
        return code < objects.size() ? objects[code] : ModelNames::kNoObject;
    }
    bool open(const RecorderOptions& options);
};

bool ModelRecorder::State::open(const RecorderOptions& options)
{
    auto [table, objectsByCode] = names.makeTable();
    values = nullptr;
    objects.clear();
    RecorderOptions withWindow = options;
    withWindow.window = window;
    takeLast(table.timescale, withWindow);
    if (table.variables.empty()) {
        tell("no variable is traced; does dumpvars() choose a scope that there is?");
    }
    recorder.emplace(std::move(table), std::move(withWindow), &tell);
    if (!recorder->open()) {
        return false;
    }
    objects = std::move(objectsByCode);
    values = &recorder->values();
    return true;
}

ModelRecorder::ModelRecorder(CloseInOrder closeInOrder)
    : m_state(std::make_unique<State>()), m_closeInOrder(std::move(closeInOrder))
{}

ModelRecorder::~ModelRecorder()
{
    close();
    waitForEnd(this);
}

bool ModelRecorder::claim()
{
    const Tracewell::MutexLock lock(s_openMutex);
    if (s_open) {
        return false;
    }
    s_open = this;
    return true;
}

void ModelRecorder::closeForEnd(std::thread::id ender)
{
    ModelRecorder* ending = nullptr;
    {
        const Tracewell::MutexLock lock(s_openMutex);
        if (!s_open || s_ending) {
            return;
        }
        ending = s_ending = s_open;
    }
    ending->m_closeInOrder(ender);
    const Tracewell::MutexLock lock(s_openMutex);
    s_ending = nullptr;
}

void ModelRecorder::beginNames(const char* resolution)
{
    m_state->names = ModelNames(resolution);
}

void ModelRecorder::declare(std::uint32_t code, const char* path, Kind kind, const int* arrayIndex,
                            const Range& range)
{
    m_state->names.declare(code, path, kind, arrayIndex, range);
}

bool ModelRecorder::openFile(const char* name, const char* store)
{
    RecorderOptions options;
    options.output = name;
    if (store) {
        takeStore("", store, options);
    }
    if (options.output.empty()) {
        tell("a trace needs a name for its file");
        return false;
    }
    takeEnvironment(options);
    return open(options);
}

bool ModelRecorder::openLive(int channel)
{
    RecorderOptions options;
    options.output.clear();
    options.channel = channel;
    takeEnvironment(options);
    return open(options);
}

bool ModelRecorder::open(const RecorderOptions& options)
{
    close();
    if (!claim()) {
        tell(fmt::format("{}: another trace of this process is open, and there can be one; close "
                         "that first",
                         options.output.empty() ? "live" : options.output));
        return false;
    }
    if (!m_state->open(options)) {
        release(this);
        return false;
    }
    const Tracewell::MutexLock lock(s_openMutex);
    EndWatch::begin(&closeForEnd);
    return true;
}

bool ModelRecorder::isOpen() const
{
    return m_state->recorder && m_state->recorder->isOpen();
}

void ModelRecorder::setTime(std::uint64_t time)
{
    if (isOpen()) {
        if (time > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
            tell(fmt::format("time {} is beyond what can be recorded; the trace ends", time));
            close();
            return;
        }
        m_state->recorder->setTime(static_cast<long long>(time));
    }
}

void ModelRecorder::changeBits(std::uint32_t code, std::uint64_t bits)
{
    State& state = *m_state;
    const std::uint32_t object = state.objectOf(code);
    if (object != ModelNames::kNoObject) {
        state.values->changeBits(object, bits);
    }
}

void ModelRecorder::changeWords(std::uint32_t code, const std::uint32_t* words)
{
    const std::uint32_t object = m_state->objectOf(code);
    if (object != ModelNames::kNoObject) {
        m_state->values->changeWords(object, words);
    }
}

void ModelRecorder::changeReal(std::uint32_t code, double value)
{
    const std::uint32_t object = m_state->objectOf(code);
    if (object != ModelNames::kNoObject) {
        m_state->values->storeReal(object, value);
    }
}

void ModelRecorder::fire(std::uint32_t code)
{
    const std::uint32_t object = m_state->objectOf(code);
    if (object != ModelNames::kNoObject) {
        m_state->values->fire(object, 1);
    }
}

void ModelRecorder::off()
{
    if (isOpen()) {
        m_state->recorder->off();
    }
}

void ModelRecorder::on()
{
    if (isOpen()) {
        m_state->recorder->on();
    }
}

void ModelRecorder::keepLast(std::uint64_t time)
{
    m_state->window = static_cast<long long>(std::min<std::uint64_t>(
        time, static_cast<std::uint64_t>(std::numeric_limits<long long>::max())));
}

void ModelRecorder::trigger()
{
    if (isOpen()) {
        m_state->recorder->trigger();
    }
}

void ModelRecorder::flush()
{
    if (isOpen()) {
        m_state->recorder->flush();
    }
}

void ModelRecorder::close()
{
    if (m_state->recorder) {
        m_state->recorder->close();
    }
    release(this);
}

} // namespace tracewell
