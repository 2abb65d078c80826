// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

#include "formats/vcd/VcdDeclarations.h"
#include "recorder/OptionValues.h"
#include "recorder/ProgramRecording.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using tracewell::call;
using tracewell::fail;
using tracewell::ProgramRecording;
using tracewell::ValueKind;
using tracewell::VariableRequest;

namespace {

constexpr int kWrongUsage = 2;

/// For work that fails only when it is asked for what makes no sense.
template <class Work> auto asUsage(const Work& work)
{
    try {
        return work();
    } catch (const tracewell::Failure& e) {
        throw tracewell::Failure(e.what(), kWrongUsage);
    }
}

} // namespace

/// What a program makes. The options are open until the first variable comes.
struct tracewell_recording
{
    tracewell::RecorderOptions options;
    tracewell::Timescale timescale;
    std::unique_ptr<ProgramRecording> recording;
    /// Why it could not begin, from then on.
    tracewell_status couldNotBegin()
    {
        return recording != nullptr && !recording->hasBegun() && recording->isBroken()
                   ? fail(TRACEWELL_FILE, recording->firstFailure())
                   : TRACEWELL_OK;
    }
    // Those that are open, outermost first.
    std::vector<std::string> scopes;
    std::vector<std::string> scopeKinds;

    ProgramRecording& made()
    {
        if (recording == nullptr) {
            recording = asUsage([&] {
                return std::make_unique<ProgramRecording>(options, timescale,
                                                          "tracewell " TRACEWELL_VERSION);
            });
        }
        return *recording;
    }
};

namespace {

tracewell_status noRecording()
{
    return fail(TRACEWELL_USAGE, "there is no recording: NULL was given");
}

template <class Place> tracewell_recording* create(const char* timescale, const Place& place)
{
    std::unique_ptr<tracewell_recording> made;
    const tracewell_status status = call([&] {
        made = std::make_unique<tracewell_recording>();
        made->options.store = tracewell::Store::Columns;
        if (timescale == nullptr || !place(made->options)) {
            return fail(TRACEWELL_USAGE,
                        "a recording has a path or a channel and a snapshot, and a timescale, as "
                        "in \"run.wdb\" and \"1ns\"");
        }
        made->timescale = asUsage([&] { return tracewell::parseTimescale(timescale); });
        return TRACEWELL_OK;
    });
    return status == TRACEWELL_OK ? made.release() : nullptr;
}

bool isEmpty(const char* text)
{
    return text == nullptr || *text == '\0';
}

/// The parts that a caller of an earlier version does not know stay as they are by default.
tracewell_declaration completed(const tracewell_declaration& given)
{
    tracewell_declaration declaration = tracewell_declaration_default(nullptr);
    const std::size_t size = std::min(given.size, sizeof declaration);
    std::copy_n(reinterpret_cast<const unsigned char*>(&given), size,
                reinterpret_cast<unsigned char*>(&declaration));
    return declaration;
}

std::optional<VariableRequest> requestOf(const tracewell_recording& recording,
                                         const tracewell_declaration* given)
{
    if (given == nullptr || given->size < offsetof(tracewell_declaration, has_range)) {
        return std::nullopt;
    }
    const tracewell_declaration declaration = completed(*given);
    const bool hasNames = declaration.value_count == 0 || (declaration.value_letters != nullptr &&
                                                           declaration.value_names != nullptr);
    if (declaration.name == nullptr || declaration.kind == nullptr || !hasNames ||
        declaration.direction < TRACEWELL_NO_DIRECTION ||
        declaration.direction > TRACEWELL_LINKAGE) {
        return std::nullopt;
    }
    VariableRequest request;
    request.scopes = recording.scopes;
    request.scopeKinds = recording.scopeKinds;
    request.name = declaration.name;
    request.kind = declaration.kind;
    request.width = declaration.width;
    request.hasRange = declaration.has_range != 0;
    request.left = declaration.left;
    request.right = declaration.right;
    request.direction = static_cast<tracewell::Direction>(declaration.direction);
    request.type = declaration.type != nullptr ? declaration.type : "";
    request.isSigned = declaration.is_signed != 0;
    for (std::size_t i = 0; i < declaration.value_count; ++i) {
        if (declaration.value_letters[i] == nullptr || declaration.value_names[i] == nullptr) {
            return std::nullopt;
        }
        request.valueNames.emplace_back(declaration.value_letters[i], declaration.value_names[i]);
    }
    return request;
}

tracewell_status noDeclaration()
{
    return fail(TRACEWELL_USAGE,
                "a declaration has a size, a name and a kind, and a letter and a name "
                "for each value; begin with tracewell_declaration_default()");
}

/// What the recorder has met since it was asked last; once it is broken, every time why.
tracewell_status outcome(ProgramRecording& recording)
{
    std::string failure = recording.takeFailure();
    if (failure.empty() && recording.isBroken()) {
        failure = recording.firstFailure();
    }
    return failure.empty() ? TRACEWELL_OK : fail(TRACEWELL_FILE, failure);
}

tracewell_status wrongKind(ProgramRecording& recording, tracewell_variable variable,
                           const char* what)
{
    if (variable >= recording.variables()) {
        return fail(TRACEWELL_USAGE, fmt::format("there is no variable {}; {} were added", variable,
                                                 recording.variables()));
    }
    return fail(TRACEWELL_USAGE, fmt::format("{} takes no {}", recording.nameOf(variable), what));
}

[[gnu::noinline]] tracewell_status putAnyBits(tracewell_recording& recording,
                                              tracewell_variable variable, std::uint64_t a,
                                              std::uint64_t b)
{
    return call([&] {
        constexpr unsigned int kMostBits = 64;
        ProgramRecording& made = recording.made();
        // 0 bits wrap around.
        if (made.bitsOf(variable) - 1 >= kMostBits) {
            return wrongKind(made, variable, "number of at most 64 bits");
        }
        made.setBits(variable, a, b);
        return TRACEWELL_OK;
    });
}

/// Nearly every call of a simulator is one of these, so there is a short way.
inline tracewell_status putBits(tracewell_recording* recording, tracewell_variable variable,
                                std::uint64_t a, std::uint64_t b)
{
    if (recording == nullptr) {
        return noRecording();
    }
    try {
        if (recording->recording != nullptr && recording->recording->trySetBits(variable, a, b)) {
            return TRACEWELL_OK;
        }
    } catch (...) {
        return call([]() -> tracewell_status { throw; });
    }
    return putAnyBits(*recording, variable, a, b);
}

template <class Work>
tracewell_status withVariable(tracewell_recording* recording, tracewell_variable variable,
                              bool (ValueKind::*isKind)() const, const char* what, const Work& work)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        ProgramRecording& made = recording->made();
        if (variable >= made.variables() || !(made.kindOf(variable).*isKind)()) {
            return wrongKind(made, variable, what);
        }
        return work(made);
    });
}

tracewell_status step(tracewell_recording* recording, void (ProgramRecording::*what)())
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        ProgramRecording& made = recording->made();
        (made.*what)();
        return outcome(made);
    });
}

template <class Change>
tracewell_status setOption(tracewell_recording* recording, const Change& change)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        if (recording->recording != nullptr) {
            return fail(TRACEWELL_USAGE, "options are set before the first variable is added");
        }
        return change(recording->options);
    });
}

} // namespace

extern "C" {

tracewell_recording* tracewell_recording_create(const char* path, const char* timescale)
{
    return create(timescale, [&](tracewell::RecorderOptions& options) {
        options.output = isEmpty(path) ? "" : tracewell::fileOf(path);
        return !options.output.empty();
    });
}

tracewell_recording* tracewell_recording_create_live(int number, const char* snapshot,
                                                     const char* timescale)
{
    return create(timescale, [&](tracewell::RecorderOptions& options) {
        if (number < 0 || number > tracewell::kMostChannels) {
            throw tracewell::Failure(fmt::format("{} {}", number, tracewell::kNoChannel),
                                     kWrongUsage);
        }
        options.output.clear();
        options.channel = number;
        options.snapshot = isEmpty(snapshot) ? "" : snapshot;
        return !options.snapshot.empty();
    });
}

tracewell_status tracewell_recording_set_store(tracewell_recording* recording, const char* store)
{
    return setOption(recording, [&](tracewell::RecorderOptions& options) {
        const auto found = tracewell::findRecorderStore(store != nullptr ? store : "");
        if (!found) {
            return fail(TRACEWELL_USAGE, "the stores are columns, events and transitions");
        }
        // A live channel has none.
        options.store = options.output.empty() ? options.store : *found;
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_set_sync(tracewell_recording* recording, double seconds)
{
    return setOption(recording, [&](tracewell::RecorderOptions& options) {
        constexpr double kLongest = 1e9;
        if (!(seconds >= 0 && seconds <= kLongest)) {
            return fail(TRACEWELL_USAGE, "seconds between syncs are 0 or more");
        }
        options.syncSeconds = seconds;
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_open_scope(tracewell_recording* recording, const char* kind,
                                                const char* name)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        if (name == nullptr || std::string_view(name).find_first_not_of(' ') == std::string::npos) {
            return fail(TRACEWELL_USAGE, "a scope has a name");
        }
        if (recording->scopes.size() == tracewell::kMaxScopeDepth) {
            return fail(TRACEWELL_USAGE, fmt::format("scopes are nested at most {} deep",
                                                     tracewell::kMaxScopeDepth));
        }
        const std::string_view word = kind != nullptr ? kind : "module";
        if (!tracewell::isDeclaredWord(word)) {
            return fail(TRACEWELL_USAGE, "the kind of a scope is a word as module, task, function, "
                                         "begin or fork");
        }
        recording->scopes.reserve(recording->scopes.size() + 1);
        recording->scopeKinds.emplace_back(word);
        recording->scopes.emplace_back(name);
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_close_scope(tracewell_recording* recording)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        if (recording->scopes.empty()) {
            return fail(TRACEWELL_USAGE, "no scope is open");
        }
        recording->scopes.pop_back();
        recording->scopeKinds.pop_back();
        return TRACEWELL_OK;
    });
}

tracewell_declaration tracewell_declaration_default(const char* name)
{
    tracewell_declaration declaration{};
    declaration.size = sizeof declaration;
    declaration.name = name;
    declaration.kind = "wire";
    declaration.width = 1;
    return declaration;
}

tracewell_status tracewell_recording_add(tracewell_recording* recording,
                                         const tracewell_declaration* declaration,
                                         tracewell_variable* variable)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        const std::optional<VariableRequest> request = requestOf(*recording, declaration);
        if (!request || variable == nullptr) {
            return noDeclaration();
        }
        if (const tracewell_status status = recording->couldNotBegin(); status != TRACEWELL_OK) {
            return status;
        }
        *variable = asUsage([&] { return recording->made().add(*request); });
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_add_alias(tracewell_recording* recording,
                                               const tracewell_declaration* declaration,
                                               tracewell_variable variable)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        const std::optional<VariableRequest> request = requestOf(*recording, declaration);
        if (!request) {
            return noDeclaration();
        }
        if (const tracewell_status status = recording->couldNotBegin(); status != TRACEWELL_OK) {
            return status;
        }
        ProgramRecording& made = recording->made();
        if (variable >= made.variables()) {
            return wrongKind(made, variable, "other name");
        }
        asUsage([&] { made.addAlias(variable, *request); });
        return TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_begin(tracewell_recording* recording)
{
    return step(recording, &ProgramRecording::begin);
}

tracewell_status tracewell_recording_time(tracewell_recording* recording, int64_t time)
{
    if (recording == nullptr) {
        return noRecording();
    }
    return call([&] {
        ProgramRecording& made = recording->made();
        if (time < made.time()) {
            return fail(TRACEWELL_USAGE,
                        fmt::format("time goes on from 0, and never back: {} comes "
                                    "behind {}",
                                    time, made.time()));
        }
        made.setTime(time);
        return made.hasFailure() || made.isBroken() ? outcome(made) : TRACEWELL_OK;
    });
}

tracewell_status tracewell_recording_number(tracewell_recording* recording,
                                            tracewell_variable variable, uint64_t number)
{
    return putBits(recording, variable, number, 0);
}

tracewell_status tracewell_recording_bits(tracewell_recording* recording,
                                          tracewell_variable variable, uint64_t a, uint64_t b)
{
    return putBits(recording, variable, a, b);
}

tracewell_status tracewell_recording_words(tracewell_recording* recording,
                                           tracewell_variable variable, const uint64_t* a,
                                           const uint64_t* b)
{
    return withVariable(recording, variable, &ValueKind::hasBits, "bits",
                        [&](ProgramRecording& made) {
                            if (a == nullptr) {
                                return fail(TRACEWELL_USAGE, "the words are missing");
                            }
                            std::vector<std::uint64_t> none;
                            if (b == nullptr) {
                                none.assign((made.widthOf(variable) + 63) / 64, 0);
                            }
                            made.setWords(variable, a, b == nullptr ? none.data() : b);
                            return TRACEWELL_OK;
                        });
}

tracewell_status tracewell_recording_letters(tracewell_recording* recording,
                                             tracewell_variable variable, const char* letters)
{
    return withVariable(
        recording, variable, &ValueKind::hasBits, "letters", [&](ProgramRecording& made) {
            if (letters == nullptr || !made.setLetters(variable, letters)) {
                return fail(TRACEWELL_USAGE,
                            fmt::format("{} takes 1 to {} of the letters 0 1 x z u w l h -",
                                        made.nameOf(variable), made.widthOf(variable)));
            }
            return TRACEWELL_OK;
        });
}

tracewell_status tracewell_recording_real(tracewell_recording* recording,
                                          tracewell_variable variable, double number)
{
    return withVariable(recording, variable, &ValueKind::isNumber, "real number",
                        [&](ProgramRecording& made) {
                            made.setReal(variable, number);
                            return TRACEWELL_OK;
                        });
}

tracewell_status tracewell_recording_text(tracewell_recording* recording,
                                          tracewell_variable variable, const char* text,
                                          size_t length)
{
    return withVariable(
        recording, variable, &ValueKind::isText, "text", [&](ProgramRecording& made) {
            if (text == nullptr && length > 0) {
                return fail(TRACEWELL_USAGE, "the text is missing");
            }
            return made.setText(variable, {length > 0 ? text : "", length})
                       ? TRACEWELL_OK
                       : fail(TRACEWELL_USAGE, "a text has no zero byte, and 32 MiB at most");
        });
}

tracewell_status tracewell_recording_fire(tracewell_recording* recording,
                                          tracewell_variable variable)
{
    return withVariable(recording, variable, &ValueKind::fires, "firing",
                        [&](ProgramRecording& made) {
                            made.fire(variable);
                            return TRACEWELL_OK;
                        });
}

tracewell_status tracewell_recording_pause(tracewell_recording* recording)
{
    return step(recording, &ProgramRecording::pause);
}

tracewell_status tracewell_recording_resume(tracewell_recording* recording)
{
    return step(recording, &ProgramRecording::resume);
}

tracewell_status tracewell_recording_sync(tracewell_recording* recording)
{
    const tracewell_status status = step(recording, &ProgramRecording::sync);
    if (status != TRACEWELL_OK || recording->options.store != tracewell::Store::Transitions) {
        return status;
    }
    return fail(TRACEWELL_USAGE, "transitions are in the file once it is closed; record columns or "
                                 "events to sync");
}

tracewell_status tracewell_recording_close(tracewell_recording* recording)
{
    const std::unique_ptr<tracewell_recording> closed(recording);
    return call([&] {
        if (closed != nullptr) {
            closed->made().close();
        }
        return TRACEWELL_OK;
    });
}

} // extern "C"
