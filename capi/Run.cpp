// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

#include "draw/Lane.h"
#include "runs/LiveRun.h"

#include "StorageFailure.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using tracewell::call;
using tracewell::fail;
using tracewell::HistoryArrays;
using tracewell::OpenRun;
using tracewell::Signal;

/// A run that is open, and what of it was handed out.
struct tracewell_run
{
    std::shared_ptr<OpenRun> run;
    std::shared_ptr<tracewell::LiveRun> live;
    /// As they were when the run was opened.
    std::vector<Signal> signals;
    /// Guards what follows.
    std::mutex mutex;
    std::deque<std::string> lacking;
    std::string told;
};

struct tracewell_history
{
    HistoryArrays arrays;
};

namespace {

tracewell_status noRun()
{
    return fail(TRACEWELL_USAGE, "there is no run: NULL was given");
}

/// A storage that fails is told by a status, and ends no process.
void watchStorage()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Tracewell::setStorageFailureHandler(
            [](const std::string& line) { tracewell::tellStorageFailure(line); });
    });
}

template <class Work> tracewell_status withRun(tracewell_run* run, const Work& work)
{
    if (run == nullptr) {
        return noRun();
    }
    return call([&] { return work(*run); });
}

template <class Work>
tracewell_status withSignal(tracewell_run* run, tracewell_signal signal, const Work& work)
{
    return withRun(run, [&](tracewell_run& there) {
        if (signal >= there.signals.size()) {
            return fail(TRACEWELL_USAGE,
                        fmt::format("{}: there is no signal {}; it has {}", there.run->path(),
                                    signal, there.signals.size()));
        }
        return work(there, there.signals[signal]);
    });
}

tracewell_values valuesOf(const Signal& signal)
{
    const tracewell::ValueKind& kind = *signal.valueKind;
    return kind.fires()     ? TRACEWELL_EVENT
           : kind.isText()  ? TRACEWELL_TEXT
           : kind.hasBits() ? TRACEWELL_BITS
           : kind.isRaw()   ? TRACEWELL_BYTES
                            : TRACEWELL_REAL;
}

tracewell_direction directionOf(const std::string& word)
{
    constexpr const char* kWords[] = {"", "in", "out", "inout", "buffer", "linkage"};
    for (int i = 0; i < 6; ++i) {
        if (word == kWords[i]) {
            return static_cast<tracewell_direction>(i);
        }
    }
    return TRACEWELL_NO_DIRECTION;
}

HistoryArrays readHistory(tracewell_run& run, const Signal& signal, int64_t from, int64_t to)
{
    std::vector<HistoryArrays> arrays =
        run.run->histories({signal}, std::max<int64_t>(from, 0), to);
    return std::move(arrays.front());
}

tracewell_look lookOf(tracewell::Look look)
{
    using tracewell::Look;
    switch (look) {
    case Look::Blank:
        return TRACEWELL_LOOK_BLANK;
    case Look::Dense:
        return TRACEWELL_LOOK_DENSE;
    case Look::Low:
    case Look::WeakLow:
        return TRACEWELL_LOOK_LOW;
    case Look::High:
    case Look::WeakHigh:
        return TRACEWELL_LOOK_HIGH;
    case Look::HighImpedance:
    case Look::BusFloating:
        return TRACEWELL_LOOK_FLOATING;
    case Look::Bus:
        return TRACEWELL_LOOK_VALUE;
    default:
        return TRACEWELL_LOOK_UNKNOWN;
    }
}

tracewell_status changeFrom(tracewell_run* run, tracewell_signal signal, int64_t* found,
                            int64_t time,
                            std::optional<long long> (OpenRun::*find)(const Signal&, long long)
                                const)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (found == nullptr) {
            return fail(TRACEWELL_USAGE, "the place for the time is missing");
        }
        const std::optional<long long> change = ((*there.run).*find)(asked, time);
        *found = change.value_or(-1);
        return change ? TRACEWELL_OK : TRACEWELL_NONE;
    });
}

/// \throws Failure when the storage has failed meanwhile.
void checkStorage()
{
    if (const std::string failure = tracewell::takeStorageFailure(); !failure.empty()) {
        throw tracewell::Failure(failure);
    }
}

} // namespace

extern "C" {

tracewell_run* tracewell_run_open(const char* path, unsigned flags)
{
    std::unique_ptr<tracewell_run> opened;
    const tracewell_status status = call([&] {
        if (path == nullptr || (flags & ~TRACEWELL_BEYOND) != 0) {
            return fail(TRACEWELL_USAGE, "a run has a path, and flags are 0 or TRACEWELL_BEYOND");
        }
        watchStorage();
        opened = std::make_unique<tracewell_run>();
        opened->run = std::make_shared<OpenRun>(path, (flags & TRACEWELL_BEYOND) != 0
                                                          ? tracewell::Reach::Beyond
                                                          : tracewell::Reach::Whole);
        checkStorage();
        opened->signals = opened->run->signals();
        return TRACEWELL_OK;
    });
    return status == TRACEWELL_OK ? opened.release() : nullptr;
}

tracewell_status tracewell_run_close(tracewell_run* run)
{
    const std::unique_ptr<tracewell_run> closed(run);
    return call([&] {
        if (closed != nullptr && closed->live != nullptr) {
            closed->live->close();
        }
        return TRACEWELL_OK;
    });
}

int64_t tracewell_run_end(tracewell_run* run)
{
    int64_t end = -1;
    withRun(run, [&](tracewell_run& there) {
        end = there.run->latestTime();
        return TRACEWELL_OK;
    });
    return end;
}

tracewell_status tracewell_run_timescale(tracewell_run* run, uint64_t* factor, int* exponent)
{
    return withRun(run, [&](tracewell_run& there) {
        if (factor == nullptr || exponent == nullptr) {
            return fail(TRACEWELL_USAGE, "the places for factor and exponent are missing");
        }
        const tracewell::Timescale timescale = there.run->timeText().timescale();
        *factor = timescale.factor;
        *exponent = timescale.exponent;
        return TRACEWELL_OK;
    });
}

const char* tracewell_run_lacking(tracewell_run* run)
{
    const char* text = nullptr;
    withRun(run, [&](tracewell_run& there) {
        const std::lock_guard lock(there.mutex);
        for (std::string& line : there.run->newShortfalls()) {
            there.lacking.push_back(std::move(line));
        }
        if (!there.lacking.empty()) {
            there.told = std::move(there.lacking.front());
            there.lacking.pop_front();
            text = there.told.c_str();
        }
        return TRACEWELL_OK;
    });
    return text;
}

uint32_t tracewell_run_signals(tracewell_run* run)
{
    return run == nullptr ? 0 : static_cast<uint32_t>(run->signals.size());
}

tracewell_status tracewell_run_signal(tracewell_run* run, tracewell_signal signal,
                                      tracewell_signal_info* info)
{
    return withSignal(run, signal, [&](tracewell_run&, const Signal& asked) {
        if (info == nullptr || info->size < sizeof info->size) {
            return fail(TRACEWELL_USAGE, "set the size of the structure first");
        }
        tracewell_signal_info all{};
        all.size = std::min(info->size, sizeof all);
        all.name = asked.label.c_str();
        all.kind = asked.kind.c_str();
        all.type = asked.type.c_str();
        all.width = asked.width;
        all.values = valuesOf(asked);
        all.direction = directionOf(asked.direction);
        all.is_signed = asked.isSigned || tracewell::isSignedKeyword(asked.kind) ? 1 : 0;
        std::memcpy(info, &all, all.size);
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_run_find(tracewell_run* run, const char* name, tracewell_signal* signal)
{
    return withRun(run, [&](tracewell_run& there) {
        if (name == nullptr || signal == nullptr) {
            return fail(TRACEWELL_USAGE, "a name and a place for the signal are needed");
        }
        const Signal found = there.run->signal(name);
        const auto place =
            std::find_if(there.signals.begin(), there.signals.end(),
                         [&](const Signal& each) { return each.label == found.label; });
        if (place == there.signals.end()) {
            // Bits of a vector become a signal of their own.
            return fail(TRACEWELL_NAME, fmt::format("{}: {} is a part of {}; ask for the whole",
                                                    there.run->path(), name, found.whole));
        }
        *signal = static_cast<tracewell_signal>(place - there.signals.begin());
        return TRACEWELL_OK;
    });
}

tracewell_history* tracewell_history_read(tracewell_run* run, tracewell_signal signal, int64_t from,
                                          int64_t to)
{
    std::unique_ptr<tracewell_history> history;
    const tracewell_status status =
        withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
            history = std::make_unique<tracewell_history>();
            history->arrays = readHistory(there, asked, from, to);
            return TRACEWELL_OK;
        });
    return status == TRACEWELL_OK ? history.release() : nullptr;
}

void tracewell_history_free(tracewell_history* history)
{
    delete history;
}

size_t tracewell_history_size(const tracewell_history* history)
{
    return history == nullptr ? 0 : history->arrays.size();
}

size_t tracewell_history_words_each(const tracewell_history* history)
{
    return history == nullptr ? 0 : history->arrays.wordsEach;
}

const int64_t* tracewell_history_times(const tracewell_history* history)
{
    static_assert(sizeof(int64_t) == sizeof(long long));
    return history == nullptr ? nullptr
                              : reinterpret_cast<const int64_t*>(history->arrays.times.data());
}

const uint64_t* tracewell_history_words(const tracewell_history* history)
{
    return history == nullptr ? nullptr
                              : reinterpret_cast<const uint64_t*>(history->arrays.words.data());
}

const uint64_t* tracewell_history_unknown(const tracewell_history* history)
{
    return history == nullptr ? nullptr
                              : reinterpret_cast<const uint64_t*>(history->arrays.unknown.data());
}

const double* tracewell_history_reals(const tracewell_history* history)
{
    return history == nullptr ? nullptr : history->arrays.reals.data();
}

const char* tracewell_history_text(const tracewell_history* history, size_t entry)
{
    return history == nullptr || entry >= history->arrays.texts.size()
               ? nullptr
               : history->arrays.texts[entry].c_str();
}

tracewell_status tracewell_history_visit(tracewell_run* run, tracewell_signal signal, int64_t from,
                                         int64_t to, tracewell_visit visit, void* user)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (visit == nullptr) {
            return fail(TRACEWELL_USAGE, "there is nobody to tell: visit is NULL");
        }
        const tracewell_history history{readHistory(there, asked, from, to)};
        const HistoryArrays& arrays = history.arrays;
        const std::size_t each = arrays.wordsEach;
        for (std::size_t i = 0; i < arrays.size(); ++i) {
            tracewell_entry entry{};
            entry.time = arrays.times.data()[i];
            entry.words =
                arrays.words.size() > 0 ? tracewell_history_words(&history) + i * each : nullptr;
            entry.unknown = arrays.unknown.size() > 0
                                ? tracewell_history_unknown(&history) + i * each
                                : nullptr;
            entry.real = arrays.reals.size() > 0 ? arrays.reals.data()[i] : 0;
            entry.text = tracewell_history_text(&history, i);
            if (visit(user, &entry) != 0) {
                break;
            }
        }
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_value_at(tracewell_run* run, tracewell_signal signal, int64_t time,
                                    char* text, size_t room, size_t* length)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (text == nullptr && room > 0) {
            return fail(TRACEWELL_USAGE, "the place for the text is missing");
        }
        const std::optional<std::string> value = there.run->textAt(asked, time);
        const std::string& whole = value ? *value : std::string();
        if (length != nullptr) {
            *length = whole.size();
        }
        if (room > 0) {
            const std::size_t kept = std::min(room - 1, whole.size());
            std::memcpy(text, whole.data(), kept);
            text[kept] = '\0';
        }
        return value ? TRACEWELL_OK : TRACEWELL_NONE;
    });
}

tracewell_status tracewell_change_behind(tracewell_run* run, tracewell_signal signal, int64_t time,
                                         int64_t* found)
{
    return changeFrom(run, signal, found, time, &OpenRun::nextChange);
}

tracewell_status tracewell_change_before(tracewell_run* run, tracewell_signal signal, int64_t time,
                                         int64_t* found)
{
    return changeFrom(run, signal, found, time, &OpenRun::previousChange);
}

tracewell_status tracewell_draw(tracewell_run* run, tracewell_signal signal, int64_t from,
                                int64_t to, uint32_t pixels, tracewell_draw_stretch visit,
                                void* user)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (visit == nullptr || pixels == 0 || from < 0 || to <= from) {
            return fail(TRACEWELL_USAGE,
                        "a picture has pixels, a stretch from 0 or later to a later time, and "
                        "somebody to tell");
        }
        const tracewell::Lane lane = there.run->lane(asked, from, to, pixels);
        for (const tracewell::LaneSegment& segment : lane.segments) {
            const tracewell_stretch stretch{segment.start, segment.end, lookOf(segment.look),
                                            segment.startsHere ? 1 : 0, segment.text.c_str()};
            if (visit(user, &stretch) != 0) {
                return TRACEWELL_OK;
            }
        }
        for (const long long firing : lane.firings) {
            const tracewell_stretch stretch{firing, firing, TRACEWELL_LOOK_HIGH, 1, "!"};
            if (visit(user, &stretch) != 0) {
                break;
            }
        }
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_search(tracewell_run* run, const char* condition, const char* on,
                                  tracewell_match match, void* user)
{
    return withRun(run, [&](tracewell_run& there) {
        if (condition == nullptr || match == nullptr) {
            return fail(TRACEWELL_USAGE, "a search has a condition and somebody to tell");
        }
        tracewell::SearchRequest request;
        request.expression = condition;
        request.on = on != nullptr ? on : "";
        const tracewell::SearchAnswer answer = there.run->search(request);
        for (std::size_t i = 0; i < answer.begins.size(); ++i) {
            if (match(user, answer.begins.data()[i], answer.ends.data()[i]) != 0) {
                break;
            }
        }
        return TRACEWELL_OK;
    });
}

tracewell_run* tracewell_run_follow(int channel, const char* snapshot, const char* directory,
                                    const char* output, double seconds)
{
    std::unique_ptr<tracewell_run> opened;
    const tracewell_status status = call([&] {
        watchStorage();
        opened = std::make_unique<tracewell_run>();
        opened->live = std::make_shared<tracewell::LiveRun>(
            tracewell::ChannelPlace{channel, snapshot != nullptr ? snapshot : "live",
                                    directory != nullptr ? directory : "."},
            output != nullptr ? output : "");
        const auto begin = std::chrono::steady_clock::now();
        while (!opened->live->connect()) {
            const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
            if (!(waited.count() < seconds)) {
                return fail(TRACEWELL_NONE,
                            fmt::format("no simulation came on channel {}", channel));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        opened->run = opened->live->run();
        opened->signals = opened->run->signals();
        return TRACEWELL_OK;
    });
    return status == TRACEWELL_OK ? opened.release() : nullptr;
}

tracewell_status tracewell_run_poll(tracewell_run* run)
{
    return withRun(run, [&](tracewell_run& there) {
        if (there.live == nullptr) {
            return TRACEWELL_NONE;
        }
        const bool isRunning = there.live->poll();
        checkStorage();
        return isRunning ? TRACEWELL_OK : TRACEWELL_NONE;
    });
}

} // extern "C"
