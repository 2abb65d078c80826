// SPDX-License-Identifier: BSD-3-Clause

#include "record/ValueRecorder.h"

#include "values/VcdValues.h"

#include <algorithm>

namespace tracewell {

ValueRecorder::ValueRecorder(const Declarations& declarations, const DataLayout& layout,
                             Tracewell::IWdbWriter& writer, const MakeSink& makeSink)
    : m_layout(layout), m_writer(writer), m_memory(layout.totalSize()),
      m_sink(makeSink(declarations, layout, m_memory)), m_trace(m_sink->byteTrace())
{
    m_states.reserve(declarations.objects.size());
    std::size_t largest = sizeof(double);
    for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
        const Object& object = declarations.objects[i];
        m_states.push_back({object.kind, layout.addressOf(i), object.width});
        largest = std::max(largest, static_cast<std::size_t>(DataLayout::sizeOf(object)));
    }
    m_scratch.resize(largest);
    writer.setBaseDPOffset(reinterpret_cast<long long>(m_memory.at(0)));
    writer.setAddressSize(layout.totalSize());
}

void ValueRecorder::setMuted(bool muted)
{
    m_isMuted = muted;
    m_sink->setMuted(muted);
    m_trace = m_sink->byteTrace();
}

void ValueRecorder::detach()
{
    setMuted(true);
    m_sink->detach();
}

void ValueRecorder::restate()
{
    for (const State& state : m_states) {
        if (state.hasValue) {
            m_sink->restate(m_time, objectOf(state), state, m_memory.at(state.address));
        }
    }
    m_writer.markCurrentTime(m_time);
}

void ValueRecorder::countAnew()
{
    m_sink->countAnew();
    for (const State& state : m_states) {
        if (state.kind->fires()) {
            *m_memory.at(state.address) = 0;
        }
    }
}

void ValueRecorder::forgetAll()
{
    for (const State& state : m_states) {
        if (state.hasValue && !state.kind->fires()) {
            state.kind->setUnknown(m_scratch.data(), state.width);
            m_sink->forget(m_time, objectOf(state), state, m_memory.at(state.address),
                           m_scratch.data());
        }
    }
    m_writer.markCurrentTime(m_time);
}

void ValueRecorder::beginFile(bool isKnown)
{
    m_sink->beginFile();
    countAnew();
    for (const State& state : m_states) {
        setMuted(false);
        if (state.hasValue && !state.kind->fires() && !state.kind->isText()) {
            state.kind->setUnknown(m_scratch.data(), state.width);
            m_sink->retell(m_time, state, isKnown ? m_memory.at(state.address) : m_scratch.data());
        }
        // Of texts the file must know what the memory refers to.
        setMuted(!isKnown);
        m_sink->retellTexts(m_time, objectOf(state), state);
    }
    m_writer.markCurrentTime(m_time);
}

unsigned long long ValueRecorder::trafficOfAll() const
{
    return static_cast<unsigned long long>(m_layout.overrideStart()) +
           kRecordBytes * m_states.size();
}

void ValueRecorder::setTime(long long time)
{
    if (!m_hasTime) {
        m_firstTime = changes() != 0 ? 0 : time;
        m_hasTime = true;
    }
    m_time = time;
    if (!m_isMuted) {
        m_writer.markCurrentTime(time);
    }
}

bool ValueRecorder::store(std::uint32_t object, ChangeForm form, std::string_view text)
{
    State& state = m_states[object];
    if (state.kind->isText() && form == ChangeForm::Text) {
        storeString(object, text);
        return true;
    }
    unsigned char* const value = m_scratch.data();
    const Fit fit = state.kind->parse(form, text, state.width, value, m_beside);
    if (fit == Fit::Invalid) {
        return false;
    }
    if (fit == Fit::Beside) {
        storeBeside(object, form, m_beside);
    } else if (state.kind->fires()) {
        fire(object, value[1]);
    } else if (fit == Fit::Exact) {
        storeExact(object, value);
    } else {
        storePlain(object, value);
    }
    if (fit == Fit::Nearest) {
        storeText(object, form, m_beside);
    }
    return true;
}

void ValueRecorder::storeLetter(std::uint32_t object, std::uint8_t code)
{
    const ValueKind& kind = *m_states[object].kind;
    if (kind.isLetter()) {
        storeScalar(object, code);
    } else if (kind.fires()) {
        fire(object, code);
    } else {
        store(object, ChangeForm::Letters, std::string_view(&kLetters[code], 1));
    }
}

void ValueRecorder::fire(std::uint32_t object, std::uint8_t code)
{
    if (m_isMuted) {
        return;
    }
    State& state = m_states[object];
    m_sink->fire(m_time, object, state, m_memory.at(state.address), code);
    state.hasValue = true;
    ++m_changes;
    m_valueBytes += state.kind->sizeOf(state.width);
    if (state.isOverridden) {
        m_sink->endText(m_time, object, state);
    }
}

void ValueRecorder::storeExact(std::uint32_t object, const unsigned char* value)
{
    storePlain(object, value);
    State& state = m_states[object];
    if (state.isOverridden) {
        m_sink->endText(m_time, object, state);
    }
}

/// Hands on the eights of bytes from the first to the last that changes.
void ValueRecorder::storePlain(std::uint32_t object, const unsigned char* value)
{
    constexpr std::size_t kStep = 8;
    State& state = m_states[object];
    unsigned char* const place = m_memory.at(state.address);
    std::size_t first = 0;
    std::size_t end = state.kind->sizeOf(state.width);
    if (state.hasValue) {
        if (std::memcmp(place, value, end) == 0) {
            return;
        }
        if (end > kStep) {
            while (std::memcmp(place + first, value + first, kStep) == 0) {
                first += kStep;
            }
            while (std::memcmp(place + end - kStep, value + end - kStep, kStep) == 0) {
                end -= kStep;
            }
        }
    }
    auto* const changed = const_cast<unsigned char*>(value);
    if (m_sink->change(m_time, {object, state, place, changed, first, end})) {
        std::memcpy(place + first, value + first, end - first);
        ++m_changes;
        m_valueBytes += end - first;
    }
    state.hasValue = true;
}

void ValueRecorder::changeSlowly(std::uint32_t object, const std::uint32_t* words)
{
    const State& state = m_states[object];
    if (state.kind->isLetter()) {
        storeScalar(object, static_cast<std::uint8_t>(words[0] & 1));
        return;
    }
    for (unsigned int word = 0; 32 * word < state.width; ++word) {
        const std::uint32_t group[] = {words[word], 0};
        std::memcpy(m_scratch.data() + sizeof group * word, group, sizeof group);
    }
    storeExact(object, m_scratch.data());
}

/// Groups of their own for a word or two, one range for more.
void ValueRecorder::changeWords(std::uint32_t object, const std::uint32_t* words)
{
    constexpr unsigned int kMostSingleWords = 2;
    const State& state = m_states[object];
    if (m_trace == nullptr || !state.hasValue) {
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

void ValueRecorder::storeBeside(std::uint32_t object, ChangeForm form, std::string_view text)
{
    const State& state = m_states[object];
    if (state.kind->fires()) {
        fire(object, kLetterX);
    } else if (!state.hasValue) {
        state.kind->setUnknown(m_scratch.data(), state.width);
        storePlain(object, m_scratch.data());
    }
    storeText(object, form, text);
}

void ValueRecorder::storeString(std::uint32_t object, std::string_view text)
{
    TextReference reference;
    if (m_sink->refer(m_time, object, m_states[object], text, reference)) {
        unsigned char bytes[sizeof reference];
        std::memcpy(bytes, &reference, sizeof reference);
        storeExact(object, bytes);
    }
}

void ValueRecorder::forgetText(std::uint32_t object)
{
    State& state = m_states[object];
    if (state.isOverridden) {
        m_sink->endText(m_time, object, state);
    } else if (state.hasValue && state.kind->isText() && m_sink->forgetString(state)) {
        const unsigned char none[sizeof(TextReference)] = {};
        storePlain(object, none);
    }
}

} // namespace tracewell
