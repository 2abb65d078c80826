// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdInput.h"
#include "names/TransitionLayout.h"
#include "record/ValueSink.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

namespace tracewell {

namespace {

using Tracewell::IWdbWriter;

// The kinds of values of the trace functions of a transition database.
constexpr unsigned int kInt32Kind = 1;
constexpr unsigned int kRealKind = 3;
constexpr unsigned int kVlogKind = 5;
constexpr unsigned int kStdLogicKind = 6;

void traceNothing(long long, unsigned int, unsigned int, const unsigned char*) {}

void traceNoBits(long long, unsigned int, unsigned int, unsigned char*, unsigned char*,
                 unsigned int, unsigned int)
{}

bool isFourState(std::uint8_t code)
{
    return code <= kLetterX;
}

/// Values by the numbers and in the form that TransitionLayout tells. What cannot be told in that
/// form is refused: nothing is lost silently.
class ObjectSink : public ValueSink
{
public:
    ObjectSink(const Declarations& declarations, IWdbWriter& writer)
        : m_declarations(declarations), m_layout(declarations), m_writer(writer)
    {
        setMuted(false);
    }

    void setMuted(bool muted) final
    {
        m_trace = muted ? &traceNothing : m_writer.getTraceVhdlFuncScalar();
        m_traceVector = muted ? &traceNoBits : m_writer.getTraceVlogFunc();
    }

    bool change(long long time, const Change& change) override;
    void fire(long long time, std::uint32_t object, const State& state, unsigned char* place,
              std::uint8_t code) override;
    void storeText(long long time, std::uint32_t object, State& state, ChangeForm form,
                   std::string_view text) override;
    void endText(long long time, std::uint32_t object, State& state) override;
    bool refer(long long time, std::uint32_t object, State& state, std::string_view text,
               TextReference& reference) override;

    void restate(long long time, std::uint32_t object, const State& state,
                 unsigned char* place) override;
    void forget(long long time, std::uint32_t object, const State& state, unsigned char* place,
                unsigned char* unknown) override;
    void countAnew() override { m_firings.clear(); }

private:
    struct Firings
    {
        std::uint32_t count = 0;
        std::uint32_t atTime = 0;
        long long time = -1;
        std::uint8_t code = 0;
    };

    void traceLetter(long long time, std::uint32_t object, const unsigned char* before,
                     std::uint8_t code);
    void traceLetters(long long time, std::uint32_t object, std::uint32_t width,
                      std::string_view letters);
    void restateVector(long long time, std::uint32_t object, std::uint32_t width,
                       unsigned char* value, bool isKnown);
    void traceNineState(long long time, std::uint32_t id, unsigned char code);
    void refuseObject(std::uint32_t object, const std::string& what);

    const Declarations& m_declarations;
    const TransitionLayout m_layout;
    IWdbWriter& m_writer;
    IWdbWriter::TraceVhdlFuncScalar m_trace = nullptr;
    IWdbWriter::TraceVlogFunc m_traceVector = nullptr;
    std::unordered_map<std::uint32_t, Firings> m_firings;
    /// Letters of vectors that have or had some that four states cannot tell, bit 0 first, as codes
    /// of nine-state objects.
    std::unordered_map<std::uint32_t, std::string> m_nineStates;
    std::unordered_set<std::uint32_t> m_refused;
};

bool ObjectSink::change(long long time, const Change& change)
{
    const State& state = change.state;
    if (state.kind->isText()) {
        return false;
    }
    unsigned char* const before = state.hasValue ? change.place : nullptr;
    if (state.kind->isLetter()) {
        traceLetter(time, change.object, before, *change.value);
    } else if (state.kind->hasBits()) {
        // Of groups, half of the bytes are a-words. With the same place twice, every bit passes.
        unsigned char* const changed = change.value + change.first;
        m_traceVector(time, m_layout.idOf(change.object), kVlogKind, before ? before : changed,
                      changed, static_cast<unsigned int>(4 * change.first),
                      std::min(state.width, static_cast<unsigned int>(4 * change.end)));
    } else {
        m_trace(time, m_layout.idOf(change.object), kRealKind, change.value);
    }
    return true;
}

void ObjectSink::traceLetter(long long time, std::uint32_t object, const unsigned char* before,
                             std::uint8_t code)
{
    const std::uint32_t id = m_layout.idOf(object);
    const unsigned char state = isFourState(code) ? code : nearestFourState(code);
    const bool hadNine = before && !isFourState(*before);
    if (!before || (hadNine ? nearestFourState(*before) : *before) != state) {
        m_trace(time, id, kVlogKind, &state);
    }
    if (!isFourState(code)) {
        traceNineState(time, id, code);
    } else if (hadNine) {
        traceNineState(time, id, kNoNineState);
    }
}

void ObjectSink::fire(long long time, std::uint32_t object, const State&, unsigned char*,
                      std::uint8_t code)
{
    Firings& firings = m_firings[object];
    if (firings.time != time) {
        firings.time = time;
        firings.atTime = 0;
    } else if (firings.code != code) {
        refuseObject(object, "fires with different letters at one time");
        return;
    }
    if (++firings.atTime > kMostFirings) {
        refuseObject(object, fmt::format("fires more than {} times at once", kMostFirings));
        return;
    }
    firings.code = code;
    firings.count = (firings.count + 1) % kEventCounts;
    const std::uint32_t value = firings.count << 8 | code;
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    m_trace(time, m_layout.idOf(object), kInt32Kind, bytes);
}

void ObjectSink::storeText(long long time, std::uint32_t object, State& state, ChangeForm form,
                           std::string_view text)
{
    state.isOverridden = true;
    const bool isGrouped = state.kind->hasBits() && !state.kind->isLetter();
    switch (form) {
    case ChangeForm::Letters:
        if (isGrouped && text.size() == state.width) {
            traceLetters(time, object, state.width, text);
        } else {
            refuseObject(object, "takes letters that it has no bits for");
        }
        break;
    case ChangeForm::Real:
        refuseObject(object, state.kind->isNumber() ? "takes a number that no double holds"
                                                    : "takes a real number");
        break;
    case ChangeForm::Port:
        refuseObject(object, "takes the strengths of a port");
        break;
    case ChangeForm::Text:
        refuseObject(object, "takes a text");
        break;
    }
}

void ObjectSink::traceLetters(long long time, std::uint32_t object, std::uint32_t width,
                              std::string_view letters)
{
    std::string& present = m_nineStates[object];
    if (present.empty()) {
        present.assign(width, static_cast<char>(kNoNineState));
    }
    for (std::size_t bit = 0; bit < width; ++bit) {
        const std::uint8_t code = letterCode(letters[width - 1 - bit]);
        const std::uint8_t state = isFourState(code) ? kNoNineState : code;
        if (static_cast<std::uint8_t>(present[bit]) != state) {
            present[bit] = static_cast<char>(state);
            traceNineState(time, m_layout.idOf(object) + static_cast<std::uint32_t>(bit), state);
        }
    }
}

void ObjectSink::endText(long long time, std::uint32_t object, State& state)
{
    storeText(time, object, state, ChangeForm::Letters, std::string(state.width, kLetters[0]));
    state.isOverridden = false;
}

bool ObjectSink::refer(long long time, std::uint32_t object, State& state, std::string_view text,
                       TextReference&)
{
    storeText(time, object, state, ChangeForm::Text, text);
    return false;
}

void ObjectSink::restate(long long time, std::uint32_t object, const State& state,
                         unsigned char* place)
{
    if (state.kind->isLetter()) {
        traceLetter(time, object, nullptr, *place);
    } else if (state.kind->hasBits()) {
        restateVector(time, object, state.width, place, true);
    } else if (!state.kind->fires() && !state.kind->isText()) {
        m_trace(time, m_layout.idOf(object), kRealKind, place);
    }
}

void ObjectSink::forget(long long time, std::uint32_t object, const State& state,
                        unsigned char* place, unsigned char* unknown)
{
    if (state.kind->isLetter()) {
        traceLetter(time, object, place, *unknown);
    } else if (state.kind->hasBits()) {
        restateVector(time, object, state.width, unknown, false);
    } else {
        restate(time, object, state, unknown);
    }
}

void ObjectSink::restateVector(long long time, std::uint32_t object, std::uint32_t width,
                               unsigned char* value, bool isKnown)
{
    m_traceVector(time, m_layout.idOf(object), kVlogKind, value, value, 0, width);
    const auto found = m_nineStates.find(object);
    for (std::uint32_t bit = 0; found != m_nineStates.end() && bit < width; ++bit) {
        const auto state = static_cast<std::uint8_t>(found->second[bit]);
        if (state != kNoNineState) {
            traceNineState(time, m_layout.idOf(object) + bit, isKnown ? state : kNoNineState);
        }
    }
}

void ObjectSink::traceNineState(long long time, std::uint32_t id, unsigned char code)
{
    m_trace(time, id + m_layout.nineStateOffset(), kStdLogicKind, &code);
}

void ObjectSink::refuseObject(std::uint32_t object, const std::string& what)
{
    if (!m_refused.insert(object).second) {
        return;
    }
    const auto variable =
        std::find_if(m_declarations.variables.begin(), m_declarations.variables.end(),
                     [&](const Variable& each) { return each.object == object; });
    refuse(
        fmt::format("{} {}, which a transition database cannot keep; leave --store transitions out",
                    inQuotes(m_declarations.fullName(
                        static_cast<std::size_t>(variable - m_declarations.variables.begin()))),
                    what));
}

} // namespace

MakeSink makeObjectSink(IWdbWriter& writer)
{
    return [&writer](const Declarations& declarations, const DataLayout&, DataMemory&) {
        const unsigned long long count = TransitionLayout(declarations).totalCount();
        if (count > kMostTransitionObjects) {
            throw Failure(fmt::format("the variables have {} bits and numbers, counted twice; a "
                                      "transition database takes at most {}: dump fewer, or leave "
                                      "--store transitions out",
                                      count, kMostTransitionObjects));
        }
        return std::make_unique<ObjectSink>(declarations, writer);
    };
}

} // namespace tracewell
