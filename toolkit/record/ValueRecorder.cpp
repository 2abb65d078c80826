#include "record/ValueRecorder.h"

#include "values/VcdValues.h"

#include <algorithm>
#include <limits>
#include <utility>

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

} // namespace

ValueRecorder::ValueRecorder(const Declarations& declarations, const DataLayout& layout,
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

void ValueRecorder::setMuted(bool muted)
{
    m_isMuted = muted;
    m_trace = muted ? &traceNothing : m_writer.getTraceVhdlFunc();
    m_traceVector = muted ? &traceNoBits : m_writer.getTraceVlogFunc();
    if (m_objects) {
        m_objects->setMuted(muted);
    }
}

void ValueRecorder::detach()
{
    setMuted(true);
    m_isDetached = true;
}

void ValueRecorder::restate()
{
    for (const State& state : m_states) {
        if (!state.hasValue) {
            continue;
        }
        unsigned char* const place = m_memory.at(state.address);
        if (m_objects) {
            m_objects->restate(objectOf(state), m_time, place);
            continue;
        }
        if (state.objectClass != ObjectClass::Event) {
            tracePlain(state, place);
        }
        if (state.wasOverridden) {
            traceOverride(state, m_memory.at(m_layout.overrideOf(objectOf(state))));
        }
    }
    m_writer.markCurrentTime(m_time);
}

void ValueRecorder::countAnew()
{
    if (m_objects) {
        m_objects->countAnew();
    }
    for (const State& state : m_states) {
        if (state.objectClass == ObjectClass::Event) {
            *m_memory.at(state.address) = 0;
        }
    }
}

void ValueRecorder::forgetAll()
{
    for (const State& state : m_states) {
        if (state.hasValue && state.objectClass != ObjectClass::Event) {
            forget(state);
        }
    }
    m_writer.markCurrentTime(m_time);
}

void ValueRecorder::forget(const State& state)
{
    unsigned char* const unknown = m_groups.data();
    fillUnknown(state.objectClass, state.width, unknown);
    if (m_objects) {
        m_objects->forget(objectOf(state), m_time, m_memory.at(state.address), unknown);
        return;
    }
    tracePlain(state, unknown);
    if (state.isOverridden) {
        unsigned char none[sizeof(TextReference)] = {};
        traceOverride(state, none);
    }
}

/// Traces a value that may be another one than the object has.
void ValueRecorder::tracePlain(const State& state, unsigned char* value)
{
    const long long bytes = DataLayout::sizeOf({{}, state.objectClass, state.width});
    m_trace(m_time, 0, static_cast<unsigned int>(bytes), m_memory.at(state.address), value);
}

void ValueRecorder::traceOverride(const State& state, unsigned char* reference)
{
    m_trace(m_time, 0, sizeof(TextReference), m_memory.at(m_layout.overrideOf(objectOf(state))),
            reference);
}

void ValueRecorder::beginFile(bool isKnown)
{
    m_texts.beginFile();
    countAnew();
    for (State& state : m_states) {
        unsigned char* const place = m_memory.at(state.address);
        setMuted(false);
        if (state.hasValue && state.objectClass != ObjectClass::Event &&
            state.objectClass != ObjectClass::String) {
            if (!isKnown) {
                fillUnknown(state.objectClass, state.width, m_groups.data());
            }
            tracePlain(state, isKnown ? place : m_groups.data());
        }
        // Of texts the file must know what the memory refers to.
        setMuted(!isKnown);
        if (state.objectClass == ObjectClass::String) {
            retell(state.address);
        }
        if (state.isOverridden) {
            retell(m_layout.overrideOf(objectOf(state)));
        }
    }
    m_writer.markCurrentTime(m_time);
}

/// Traces the reference to a text as the file at hand has it.
void ValueRecorder::retell(long long address)
{
    const auto present = m_presentTexts.find(address);
    if (present == m_presentTexts.end()) {
        return;
    }
    const TextReference reference = put(present->second.kind, present->second.text);
    unsigned char bytes[sizeof reference];
    std::memcpy(bytes, &reference, sizeof reference);
    trace(address, bytes, sizeof bytes);
}

unsigned long long ValueRecorder::trafficOfAll() const
{
    return static_cast<unsigned long long>(m_layout.overrideStart()) +
           kRecordBytes * m_states.size();
}

void ValueRecorder::setTime(long long time)
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

void ValueRecorder::fire(std::uint32_t object, std::uint8_t code)
{
    if (m_isMuted) {
        return;
    }
    if (m_objects) {
        noteRefusal(m_objects->traceFiring(object, m_time, code));
        m_states[object].hasValue = true;
        ++m_changes;
        return;
    }
    const unsigned char before = *m_memory.at(m_states[object].address);
    m_groups[0] = static_cast<unsigned char>(before + 1);
    m_groups[1] = code;
    storeExact(object, m_groups.data());
}

void ValueRecorder::storeExact(std::uint32_t object, const unsigned char* value)
{
    State& state = m_states[object];
    storePlain(state, value);
    if (state.isOverridden) {
        endText(object);
    }
}

void ValueRecorder::storePlain(State& state, const unsigned char* value)
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
void ValueRecorder::storeVector(const State& state, const unsigned char* value, std::size_t bytes)
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

void ValueRecorder::changeSlowly(std::uint32_t object, const std::uint32_t* words)
{
    const State& state = m_states[object];
    if (state.objectClass == ObjectClass::Scalar) {
        storeScalar(object, static_cast<std::uint8_t>(words[0] & 1));
        return;
    }
    for (unsigned int word = 0; 32 * word < state.width; ++word) {
        const std::uint32_t group[] = {words[word], 0};
        std::memcpy(m_groups.data() + sizeof group * word, group, sizeof group);
    }
    storeExact(object, m_groups.data());
}

/// Groups of their own for a word or two, one range for more.
void ValueRecorder::changeWords(std::uint32_t object, const std::uint32_t* words)
{
    constexpr unsigned int kMostSingleWords = 2;
    const State& state = m_states[object];
    if (m_objects || !state.hasValue) {
        changeSlowly(object, words);
        return;
    }
    unsigned char* const place = m_memory.at(state.address);
    const unsigned int count = (state.width + 31) / 32;
    unsigned int changed = 0;
    for (unsigned int word = 0; word < count; ++word) {
        changed += std::memcmp(place + 8 * word, words + word, 4) != 0 ? 1 : 0;
    }
    if (changed > kMostSingleWords) {
        changeSlowly(object, words);
        return;
    }
    for (unsigned int word = 0; word < count; ++word) {
        if (std::memcmp(place + 8 * word, words + word, 4) != 0) {
            changeWord(place + 8 * word, words[word], state.width - 32 * word);
        }
    }
}

void ValueRecorder::storeBeside(std::uint32_t object, char kind, std::string_view text)
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

void ValueRecorder::storeText(std::uint32_t object, char kind, std::string_view text)
{
    if (!m_objects) {
        storeOverride(object, refer(m_layout.overrideOf(object), kind, text));
        return;
    }
    noteRefusal(m_objects->traceText(object, m_time, kind, text));
    m_states[object].isOverridden = true;
}

void ValueRecorder::endText(std::uint32_t object)
{
    if (!m_objects) {
        m_presentTexts.erase(m_layout.overrideOf(object));
        storeOverride(object, TextReference());
        return;
    }
    m_objects->endText(object, m_time);
    m_states[object].isOverridden = false;
}

void ValueRecorder::forgetString(std::uint32_t object)
{
    State& state = m_states[object];
    if (!m_objects && state.hasValue && state.objectClass == ObjectClass::String) {
        m_presentTexts.erase(state.address);
        const unsigned char none[sizeof(TextReference)] = {};
        storePlain(state, none);
    }
}

void ValueRecorder::storeOverride(std::uint32_t object, const TextReference& reference)
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
    State& state = m_states[object];
    state.isOverridden = reference.kind != 0;
    state.wasOverridden = state.wasOverridden || state.isOverridden;
}

void ValueRecorder::trace(long long address, const unsigned char* value, std::size_t bytes)
{
    unsigned char* place = m_memory.at(address);
    m_trace(m_time, 0, static_cast<unsigned int>(bytes), place, const_cast<unsigned char*>(value));
    keep(place, value, bytes);
}

void ValueRecorder::keep(unsigned char* place, const unsigned char* value, std::size_t bytes)
{
    std::memcpy(place, value, bytes);
    ++m_changes;
    m_valueBytes += bytes;
}

/// The reference to a text for its place in the memory.
TextReference ValueRecorder::refer(long long address, char kind, std::string_view text)
{
    if (m_isDetached) {
        return {};
    }
    if (!m_remembersTexts) {
        return put(kind, text);
    }
    Text& present = m_presentTexts[address];
    if (present.kind == kind && present.text == text) {
        TextReference reference;
        std::memcpy(&reference, m_memory.at(address), sizeof reference);
        return reference;
    }
    present.kind = kind;
    present.text = text;
    m_valueBytes += text.size();
    return put(kind, text);
}

TextReference ValueRecorder::put(char kind, std::string_view text)
{
    TextReference reference;
    if (!m_texts.refer(kind, text, reference) && !m_areTextsRefused) {
        m_areTextsRefused = true;
        noteRefusal("the recording can take no more texts; leave variables with long texts out");
    }
    return reference;
}

void ValueRecorder::storeString(std::uint32_t object, std::string_view text)
{
    if (m_objects) {
        storeText(object, 's', text);
        return;
    }
    const TextReference reference = refer(m_states[object].address, 's', text);
    unsigned char bytes[sizeof reference];
    std::memcpy(bytes, &reference, sizeof reference);
    storeExact(object, bytes);
}

bool ValueRecorder::storeLetters(std::uint32_t object, std::string_view letters)
{
    State& state = m_states[object];
    if (state.objectClass == ObjectClass::Scalar) {
        const std::uint8_t code = letters.size() == 1 ? letterCode(letters[0]) : kNoLetter;
        if (code != kNoLetter) {
            storeExact(object, &code);
        }
        return code != kNoLetter;
    }
    switch (toGroups(letters, state.width, m_groups.data())) {
    case VectorForm::Exact:
        storeExact(object, m_groups.data());
        return true;
    case VectorForm::Nearest:
        storePlain(state, m_groups.data());
        storeText(object, 'b', canonicalLetters(letters, state.width));
        return true;
    case VectorForm::Invalid:
        break;
    }
    return false;
}

void ValueRecorder::noteRefusal(const std::string& refusal)
{
    if (!refusal.empty()) {
        m_refusal += m_refusal.empty() ? refusal : "; " + refusal;
    }
}

std::string ValueRecorder::takeRefusal()
{
    return std::exchange(m_refusal, {});
}

} // namespace tracewell
