// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

#include "draw/Lane.h"
#include "runs/LiveRun.h"
#include "text/Failure.h"
#include "wave/SignalSlice.h"

#include <fmt/format.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
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
    /// Of the run; valid as long as that is open.
    const tracewell::Declarations* declarations = nullptr;
    std::uint32_t declared = 0;
    /// Guards what follows. The run's own lock is not taken while it is held.
    std::mutex mutex;
    /// Those that were declared, then bits of them that were asked for. An element stays in place.
    std::deque<Signal> signals;
    /// Of a signal of which they were asked for.
    std::map<tracewell_signal, std::map<std::string, std::string>> valueNames;
    std::deque<std::string> lacking;
    std::string told;

    void readNames()
    {
        const std::vector<Signal> all = run->signals();
        signals.assign(all.begin(), all.end());
        declarations = &run->declarations();
        declared = static_cast<std::uint32_t>(signals.size());
    }
    const Signal* find(tracewell_signal signal)
    {
        const std::lock_guard lock(mutex);
        return signal < signals.size() ? &signals[signal] : nullptr;
    }
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
        const Signal* const found = there.find(signal);
        if (found == nullptr) {
            return fail(TRACEWELL_USAGE, fmt::format("{}: there is no signal {}; it has {}",
                                                     there.run->path(), signal, there.declared));
        }
        return work(there, *found);
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

/// One that is read without end, or only once, is none of a run; others are told by the reader.
void requireFile(const std::string& path)
{
    struct stat status;
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) &&
        !S_ISDIR(status.st_mode)) {
        throw tracewell::Failure(path + ": is no regular file; name one");
    }
}

/// What is asked for by C.
tracewell::HistoryOrder orderOf(int64_t from, int64_t to)
{
    tracewell::HistoryOrder order;
    order.from = std::max<int64_t>(from, 0);
    order.to = to;
    order.areStatesKept = true;
    return order;
}

/// Null for an entry without.
const std::string* textOf(const HistoryArrays& arrays, std::size_t entry)
{
    return arrays.kind == HistoryArrays::Kind::Text ? &arrays.texts[entry]
                                                    : arrays.lettersOf(entry);
}

tracewell_entry entryOf(const HistoryArrays& arrays, std::size_t i)
{
    const std::size_t each = arrays.wordsEach;
    const auto wordsOf = [&](const auto& numbers) {
        return numbers.size() > 0 ? reinterpret_cast<const uint64_t*>(numbers.data()) + i * each
                                  : nullptr;
    };
    tracewell_entry entry{};
    entry.time = arrays.times.data()[i];
    entry.words = wordsOf(arrays.words);
    entry.unknown = wordsOf(arrays.unknown);
    entry.real = arrays.reals.size() > 0 ? arrays.reals.data()[i] : 0;
    entry.words_each = entry.words != nullptr ? each : 0;
    if (const std::string* const text = textOf(arrays, i)) {
        entry.text = text->c_str();
        entry.length = text->size();
    }
    return entry;
}

/// The bits that a signal has of its vector, by their numbers in the declaration.
std::optional<tracewell::BitRange> rangeOf(const tracewell_run& run, tracewell_signal number,
                                           const Signal& signal)
{
    std::string text = signal.label;
    if (number < run.declared) {
        const std::string& range = run.declarations->variables[number].range;
        text = range.empty() ? std::string() : "name" + range;
    }
    const std::optional<tracewell::SliceArgument> slice = tracewell::parseSlice(text);
    return slice ? std::optional(slice->bits) : std::nullopt;
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

template <class Info> bool hasSize(const Info* info)
{
    return info != nullptr && info->size >= sizeof info->size;
}

/// As much of it as the caller knows.
template <class Info> void give(Info& all, Info* info)
{
    all.size = std::min(info->size, sizeof all);
    std::memcpy(info, &all, all.size);
}

constexpr const char* kNoSize = "set the size of the structure first";

} // namespace

extern "C" {

tracewell_run* tracewell_run_open(const char* path, unsigned flags)
{
    std::unique_ptr<tracewell_run> opened;
    const tracewell_status status = call([&] {
        if (path == nullptr || (flags & ~TRACEWELL_BEYOND) != 0) {
            return fail(TRACEWELL_USAGE, "a run has a path, and flags are 0 or TRACEWELL_BEYOND");
        }
        const std::string file = tracewell::fileOf(path);
        requireFile(file);
        opened = std::make_unique<tracewell_run>();
        opened->run = std::make_shared<OpenRun>(file, (flags & TRACEWELL_BEYOND) != 0
                                                          ? tracewell::Reach::Beyond
                                                          : tracewell::Reach::Whole);
        opened->readNames();
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
        const std::vector<std::string> lines = there.run->newShortfalls();
        const std::lock_guard lock(there.mutex);
        for (const std::string& line : lines) {
            there.lacking.push_back(tracewell::forCaller(line));
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
    return run == nullptr ? 0 : run->declared;
}

tracewell_status tracewell_run_signal(tracewell_run* run, tracewell_signal signal,
                                      tracewell_signal_info* info)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (!hasSize(info)) {
            return fail(TRACEWELL_USAGE, kNoSize);
        }
        tracewell_signal_info all{};
        all.name = asked.label.c_str();
        all.local = all.name + std::min(asked.scope.size(), asked.label.size());
        all.scope = TRACEWELL_NO_SCOPE;
        all.identity = signal;
        if (signal < there.declared) {
            const tracewell::Variable& variable = there.declarations->variables[signal];
            all.scope = variable.scope == tracewell::kNoScope
                            ? TRACEWELL_NO_SCOPE
                            : static_cast<uint32_t>(variable.scope);
            all.identity = static_cast<uint32_t>(variable.object);
        }
        all.kind = asked.kind.c_str();
        all.type = asked.type.c_str();
        all.width = asked.width;
        all.values = valuesOf(asked);
        all.direction = directionOf(asked.direction);
        all.is_signed = asked.isSigned || tracewell::isSignedKeyword(asked.kind) ? 1 : 0;
        if (const auto range = rangeOf(there, signal, asked)) {
            all.has_range = 1;
            all.left = range->left;
            all.right = range->right;
        }
        all.value_names = asked.enumeration != nullptr ? asked.enumeration->names.size() : 0;
        give(all, info);
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_run_value_name(tracewell_run* run, tracewell_signal signal,
                                          size_t number, const char** letters, const char** name)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (letters == nullptr || name == nullptr) {
            return fail(TRACEWELL_USAGE, "the places for letters and name are missing");
        }
        std::map<std::string, std::string> read = there.run->valueNames(asked);
        const std::lock_guard lock(there.mutex);
        const auto& names = there.valueNames.try_emplace(signal, std::move(read)).first->second;
        if (number >= names.size()) {
            return fail(TRACEWELL_USAGE, fmt::format("{}: {} values of {} have names",
                                                     there.run->path(), names.size(), asked.label));
        }
        const auto found = std::next(names.begin(), static_cast<std::ptrdiff_t>(number));
        *letters = found->first.c_str();
        *name = found->second.c_str();
        return TRACEWELL_OK;
    });
}

uint32_t tracewell_run_scopes(tracewell_run* run)
{
    return run == nullptr ? 0 : static_cast<uint32_t>(run->declarations->scopes.size());
}

tracewell_status tracewell_run_scope(tracewell_run* run, uint32_t scope, tracewell_scope_info* info)
{
    return withRun(run, [&](tracewell_run& there) {
        const std::vector<tracewell::Scope>& scopes = there.declarations->scopes;
        if (!hasSize(info)) {
            return fail(TRACEWELL_USAGE, kNoSize);
        }
        if (scope >= scopes.size()) {
            return fail(TRACEWELL_USAGE, fmt::format("{}: there is no scope {}; it has {}",
                                                     there.run->path(), scope, scopes.size()));
        }
        tracewell_scope_info all{};
        all.name = scopes[scope].name.c_str();
        all.kind = scopes[scope].kind.c_str();
        all.parent = scopes[scope].parent == tracewell::kNoScope
                         ? TRACEWELL_NO_SCOPE
                         : static_cast<uint32_t>(scopes[scope].parent);
        give(all, info);
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_run_find(tracewell_run* run, const char* name, tracewell_signal* signal)
{
    return withRun(run, [&](tracewell_run& there) {
        if (name == nullptr || signal == nullptr) {
            return fail(TRACEWELL_USAGE, "a name and a place for the signal are needed");
        }
        if (const std::optional<std::size_t> place = there.run->place(name)) {
            *signal = static_cast<tracewell_signal>(*place);
            return TRACEWELL_OK;
        }
        Signal found = there.run->signal(name);
        if (const std::optional<std::size_t> place = there.run->place(found.label)) {
            *signal = static_cast<tracewell_signal>(*place);
            return TRACEWELL_OK;
        }
        const std::lock_guard lock(there.mutex);
        auto place = std::find_if(there.signals.begin() + there.declared, there.signals.end(),
                                  [&](const Signal& each) { return each.label == found.label; });
        if (place == there.signals.end()) {
            place = there.signals.insert(place, std::move(found));
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
            history->arrays = there.run->history(asked, orderOf(from, to));
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
    const bool hasWords = history != nullptr && history->arrays.kind != HistoryArrays::Kind::Real &&
                          history->arrays.kind != HistoryArrays::Kind::Text;
    return hasWords ? history->arrays.wordsEach : 0;
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
    if (history == nullptr || entry >= history->arrays.size()) {
        return nullptr;
    }
    const std::string* const text = textOf(history->arrays, entry);
    return text != nullptr ? text->c_str() : nullptr;
}

tracewell_status tracewell_history_visit(tracewell_run* run, tracewell_signal signal, int64_t from,
                                         int64_t to, tracewell_visit visit, void* user)
{
    return withSignal(run, signal, [&](tracewell_run& there, const Signal& asked) {
        if (visit == nullptr) {
            return fail(TRACEWELL_USAGE, "there is nobody to tell: visit is NULL");
        }
        there.run->visitHistory(asked, orderOf(from, to),
                                [&](const HistoryArrays& arrays, std::size_t i) {
                                    const tracewell_entry entry = entryOf(arrays, i);
                                    return visit(user, &entry) == 0;
                                });
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
        opened = std::make_unique<tracewell_run>();
        opened->live = std::make_shared<tracewell::LiveRun>(
            tracewell::ChannelPlace{channel, snapshot != nullptr ? snapshot : "live",
                                    directory != nullptr ? directory : "."},
            output != nullptr ? tracewell::fileOf(output) : "");
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
        opened->readNames();
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
        return there.live->poll() ? TRACEWELL_OK : TRACEWELL_NONE;
    });
}

} // extern "C"
