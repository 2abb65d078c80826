#include "recording/SignalRecorder.h"

#include "CommandError.h"
#include "vcd/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

/// The kind of a four-state bit in the vector trace function.
constexpr unsigned int kVectorKind = 5;
constexpr int kEventBytes = 2;

void fillUnknown(ObjectClass objectClass, unsigned int width, unsigned char* value)
{
    switch (objectClass) {
    case ObjectClass::Scalar:
        *value = kLetterX;
        break;
    case ObjectClass::Vector:
        toGroups("x", width, value);
        break;
    case ObjectClass::Real: {
        const double none = std::numeric_limits<double>::quiet_NaN();
        std::memcpy(value, &none, sizeof none);
        break;
    }
    case ObjectClass::String: {
        const TextReference none;
        std::memcpy(value, &none, sizeof none);
        break;
    }
    case ObjectClass::Event:
        break;
    }
}

void traceNothing(long long, unsigned int, unsigned int, unsigned char*, unsigned char*) {}

void traceNoBits(long long, unsigned int, unsigned int, unsigned char*, unsigned char*,
                 unsigned int, unsigned int)
{}

std::string badLetters(std::string_view text)
{
    return fmt::format(
        "{} is no value of 0, 1, x, z and the other letters of nine states; repair the line",
        inQuotes(text));
}

} // namespace

SignalRecorder::SignalRecorder(const Declarations& declarations, const DataLayout& layout,
                               Tracewell::IWdbWriter& writer, Store store)
    : m_layout(layout), m_writer(writer), m_texts(writer), m_keepsTexts(store == Store::Events),
      m_trace(writer.getTraceVhdlFunc()), m_traceVector(writer.getTraceVlogFunc()),
      m_memory(layout.totalSize())
{
    if (store == Store::Transitions) {
        m_objects = std::make_unique<ObjectTracer>(declarations, writer);
    }
    m_states.reserve(declarations.objects.size());
    std::size_t largest = sizeof(double);
    for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
        const Object& object = declarations.objects[i];
        m_states.push_back({layout.addressOf(i), object.width, object.objectClass});
        largest = std::max(largest, static_cast<std::size_t>(DataLayout::sizeOf(object)));
    }
    m_groups.resize(largest);
    writer.setBaseDPOffset(reinterpret_cast<long long>(m_memory.at(0)));
    writer.setAddressSize(layout.totalSize());
}

std::string SignalRecorder::apply(const VcdChange& change)
{
    switch (change.kind) {
    case VcdChange::Kind::Time:
        setTime(change.time);
        break;
    case VcdChange::Kind::Letter:
        setLetter(change.object, change.letter);
        break;
    case VcdChange::Kind::Letters:
        return setLetters(change.object, change.text);
    case VcdChange::Kind::Real:
        return setReal(change.object, change.text);
    case VcdChange::Kind::Text:
        setText(change.object, change.text);
        break;
    case VcdChange::Kind::Port:
        return setPort(change.object, change.text);
    }
    return refusal();
}

void SignalRecorder::setMuted(bool muted)
{
    m_isMuted = muted;
    m_trace = muted ? &traceNothing : m_writer.getTraceVhdlFunc();
    m_traceVector = muted ? &traceNoBits : m_writer.getTraceVlogFunc();
    if (m_objects) {
        m_objects->setMuted(muted);
    }
}

void SignalRecorder::restate()
{
    for (const State& state : m_states) {
        if (m_objects && state.hasValue) {
            m_objects->restate(objectOf(state), m_time, m_memory.at(state.address));
        }
        if (m_objects || !state.hasValue || state.objectClass == ObjectClass::Event) {
            continue;
        }
        unsigned char* place = m_memory.at(state.address);
        const long long bytes = DataLayout::sizeOf({{}, state.objectClass, state.width});
        m_trace(m_time, 0, static_cast<unsigned int>(bytes), place, place);
    }
    m_writer.markCurrentTime(m_time);
}

void SignalRecorder::setTime(long long time)
{
    if (!m_hasTime) {
        m_firstTime = m_changes != 0 ? 0 : time;
        m_hasTime = true;
    }
    m_time = time;
    if (!m_isMuted) {
        m_writer.markCurrentTime(time);
    }
}

void SignalRecorder::setLetter(std::uint32_t object, std::uint8_t code)
{
    switch (m_states[object].objectClass) {
    case ObjectClass::Scalar:
        storeExact(object, &code);
        break;
    case ObjectClass::Event:
        fire(object, code);
        break;
    default:
        setLetters(object, std::string_view(&kLetters[code], 1));
        break;
    }
}

std::string SignalRecorder::setLetters(std::uint32_t object, std::string_view letters)
{
    State& state = m_states[object];
    if (state.objectClass == ObjectClass::Vector) {
        const VectorForm form = toGroups(letters, state.width, m_groups.data());
        if (form == VectorForm::Exact) {
            storeExact(object, m_groups.data());
            return {};
        }
        if (form == VectorForm::Nearest) {
            storePlain(state, m_groups.data());
            storeText(object, 'b', canonicalLetters(letters, state.width));
            return refusal();
        }
    }
    if (letters.empty() || !std::all_of(letters.begin(), letters.end(), [](char letter) {
            return letterCode(letter) != kNoLetter;
        })) {
        return badLetters(letters);
    }
    const bool hasBits =
        state.objectClass != ObjectClass::Real && state.objectClass != ObjectClass::String;
    const std::string canonical =
        canonicalLetters(letters, hasBits ? 1 : static_cast<unsigned int>(letters.size()));
    if (!hasBits) {
        storeBeside(object, 'b', canonical);
        return refusal();
    }
    std::uint8_t code = letterCode(canonical.back());
    if (canonical.size() > 1 && state.objectClass == ObjectClass::Scalar) {
        code = nearestFourState(code);
    }
    if (state.objectClass == ObjectClass::Event) {
        fire(object, code);
    } else if (canonical.size() == 1) {
        storeExact(object, &code);
    } else {
        storePlain(state, &code);
    }
    if (canonical.size() > 1) {
        storeText(object, 'b', canonical);
    }
    return refusal();
}

std::string SignalRecorder::setReal(std::uint32_t object, std::string_view text)
{
    State& state = m_states[object];
    double value = 0;
    const RealForm form = toReal(text, value);
    if (form == RealForm::Invalid) {
        return fmt::format("{} is no real number; repair the line", inQuotes(text));
    }
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    if (state.objectClass != ObjectClass::Real) {
        storeBeside(object, 'r', text);
    } else if (form == RealForm::Exact) {
        storeExact(object, bytes);
    } else {
        storePlain(state, bytes);
        storeText(object, 'r', text);
    }
    return refusal();
}

void SignalRecorder::setText(std::uint32_t object, std::string_view text)
{
    if (m_states[object].objectClass != ObjectClass::String) {
        storeBeside(object, 's', text);
        return;
    }
    if (m_objects) {
        storeText(object, 's', text);
        return;
    }
    const TextReference reference = m_texts.refer('s', text);
    unsigned char bytes[sizeof reference];
    std::memcpy(bytes, &reference, sizeof reference);
    storeExact(object, bytes);
}

/// The states stand before the first blank; they are letters of a kind of their own.
std::string SignalRecorder::setPort(std::uint32_t object, std::string_view text)
{
    State& state = m_states[object];
    std::string letters;
    for (const char port : text.substr(0, text.find(' '))) {
        letters += kLetters[portState(port)];
    }
    if (state.objectClass == ObjectClass::Vector) {
        toGroups(letters, state.width, m_groups.data());
        storePlain(state, m_groups.data());
    } else if (state.objectClass == ObjectClass::Scalar) {
        const std::uint8_t code = letterCode(letters.back());
        storePlain(state, &code);
    } else {
        storeBeside(object, 'p', text);
        return refusal();
    }
    storeText(object, 'p', text);
    return refusal();
}

void SignalRecorder::fire(std::uint32_t object, std::uint8_t code)
{
    if (m_objects) {
        m_refusal = m_objects->traceFiring(object, m_time, code);
        m_states[object].hasValue = true;
        ++m_changes;
        return;
    }
    const unsigned char before = *m_memory.at(m_states[object].address);
    m_groups[0] = static_cast<unsigned char>(before + 1);
    m_groups[1] = code;
    storeExact(object, m_groups.data());
}

void SignalRecorder::storeExact(std::uint32_t object, const unsigned char* value)
{
    State& state = m_states[object];
    storePlain(state, value);
    if (state.isOverridden) {
        endText(object);
    }
}

void SignalRecorder::storePlain(State& state, const unsigned char* value)
{
    unsigned char* place = m_memory.at(state.address);
    switch (state.objectClass) {
    case ObjectClass::Scalar:
        if (state.hasValue && *place == *value) {
            return;
        }
        if (m_objects) {
            m_objects->traceScalar(objectOf(state), m_time, state.hasValue ? place : nullptr,
                                   *value);
            keep(place, value, 1);
        } else {
            trace(state.address, value, 1);
        }
        break;
    case ObjectClass::Vector:
        storeVector(state, value, groupBytes(state.width));
        break;
    case ObjectClass::Event:
        trace(state.address, value, kEventBytes);
        break;
    case ObjectClass::Real:
    case ObjectClass::String:
        if (state.hasValue && std::memcmp(place, value, 8) == 0) {
            return;
        }
        if (m_objects && state.objectClass == ObjectClass::Real) {
            m_objects->traceReal(objectOf(state), m_time, value);
            keep(place, value, 8);
        } else if (!m_objects) {
            trace(state.address, value, 8);
        }
        break;
    }
    state.hasValue = true;
}

/// Traces the groups from the first to the last that changes.
void SignalRecorder::storeVector(const State& state, const unsigned char* value, std::size_t bytes)
{
    unsigned char* place = m_memory.at(state.address);
    std::size_t first = 0;
    std::size_t end = bytes;
    if (state.hasValue) {
        while (first < end && std::memcmp(place + first, value + first, 8) == 0) {
            first += 8;
        }
        if (first == end) {
            return;
        }
        while (std::memcmp(place + end - 8, value + end - 8, 8) == 0) {
            end -= 8;
        }
    }
    if (!m_objects && first == 0 && end == bytes) {
        trace(state.address, value, bytes);
        return;
    }
    const auto firstBit = static_cast<unsigned int>(4 * first);
    const auto endBit = std::min(state.width, static_cast<unsigned int>(4 * end));
    auto* const changed = const_cast<unsigned char*>(value + first);
    if (m_objects) {
        m_objects->traceVector(objectOf(state), m_time, state.hasValue ? place : nullptr, changed,
                               firstBit, endBit);
    } else {
        m_traceVector(m_time, 0, kVectorKind, place, changed, firstBit, endBit);
    }
    keep(place + first, changed, end - first);
}

void SignalRecorder::storeBeside(std::uint32_t object, char kind, std::string_view text)
{
    State& state = m_states[object];
    if (state.objectClass == ObjectClass::Event) {
        fire(object, kLetterX);
    } else if (!state.hasValue) {
        fillUnknown(state.objectClass, state.width, m_groups.data());
        storePlain(state, m_groups.data());
    }
    storeText(object, kind, text);
}

void SignalRecorder::storeText(std::uint32_t object, char kind, std::string_view text)
{
    if (!m_objects) {
        storeOverride(object, m_texts.refer(kind, text));
        return;
    }
    // One refusal is enough: an event's firing may have been refused before its text.
    if (m_refusal.empty()) {
        m_refusal = m_objects->traceText(object, m_time, kind, text);
    }
    m_states[object].isOverridden = true;
}

void SignalRecorder::endText(std::uint32_t object)
{
    if (!m_objects) {
        storeOverride(object, TextReference());
        return;
    }
    m_objects->endText(object, m_time);
    m_states[object].isOverridden = false;
}

void SignalRecorder::storeOverride(std::uint32_t object, const TextReference& reference)
{
    if (!m_keepsTexts) {
        return;
    }
    const long long address = m_layout.overrideOf(object);
    unsigned char bytes[sizeof reference];
    std::memcpy(bytes, &reference, sizeof reference);
    if (std::memcmp(m_memory.at(address), bytes, sizeof bytes) != 0) {
        trace(address, bytes, sizeof bytes);
    }
    m_states[object].isOverridden = reference.kind != 0;
}

void SignalRecorder::trace(long long address, const unsigned char* value, std::size_t bytes)
{
    unsigned char* place = m_memory.at(address);
    m_trace(m_time, 0, static_cast<unsigned int>(bytes), place, const_cast<unsigned char*>(value));
    keep(place, value, bytes);
}

void SignalRecorder::keep(unsigned char* place, const unsigned char* value, std::size_t bytes)
{
    std::memcpy(place, value, bytes);
    ++m_changes;
}

} // namespace tracewell
