// SPDX-License-Identifier: BSD-3-Clause

#include "record/TextStore.h"
#include "record/ValueSink.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace tracewell {

namespace {

using Tracewell::IWdbWriter;

/// The kind of a four-state bit in the vector trace function.
constexpr unsigned int kVectorKind = 5;
constexpr int kFiringBytes = 2;

void traceNothing(long long, unsigned int, unsigned int, unsigned char*, unsigned char*) {}

void traceNoBits(long long, unsigned int, unsigned int, unsigned char*, unsigned char*,
                 unsigned int, unsigned int)
{}

/// Values by their place in the data memory; texts beside them by references in their overrides.
class EventSink : public ValueSink
{
public:
    EventSink(IWdbWriter& writer, const DataLayout& layout, DataMemory& memory, Texts texts)
        : m_writer(writer), m_layout(layout), m_memory(memory), m_texts(writer),
          m_keepsTexts(texts == Texts::Kept)
    {
        setMuted(false);
    }

    void setMuted(bool muted) final
    {
        m_trace = muted ? &traceNothing : m_writer.getTraceVhdlFunc();
        m_traceVector = muted ? &traceNoBits : m_writer.getTraceVlogFunc();
    }
    void detach() override { m_isDetached = true; }
    IWdbWriter::TraceVhdlFunc byteTrace() const override { return m_trace; }

    bool change(long long time, const Change& change) override;
    void fire(long long time, std::uint32_t object, const State& state, unsigned char* place,
              std::uint8_t code) override;
    void storeText(long long time, std::uint32_t object, State& state, ChangeForm form,
                   std::string_view text) override;
    void endText(long long time, std::uint32_t object, State& state) override;
    bool refer(long long time, std::uint32_t object, State& state, std::string_view text,
               TextReference& reference) override;
    bool forgetString(const State& state) override;

    void restate(long long time, std::uint32_t object, const State& state,
                 unsigned char* place) override;
    void forget(long long time, std::uint32_t object, const State& state, unsigned char* place,
                unsigned char* unknown) override;

    void rememberTexts() override { m_remembersTexts = true; }
    void beginFile() override { m_texts.beginFile(); }
    void retell(long long time, const State& state, unsigned char* value) override;
    void retellTexts(long long time, std::uint32_t object, const State& state) override;

private:
    struct Text
    {
        /// No form, before the first text.
        ChangeForm form = {};
        std::string text;
    };

    TextReference referTo(long long address, ChangeForm form, std::string_view text);
    TextReference put(ChangeForm form, std::string_view text);
    void storeOverride(long long time, std::uint32_t object, State& state,
                       const TextReference& reference);
    void retellText(long long time, long long address);
    void trace(long long time, long long address, const TextReference& reference);

    IWdbWriter& m_writer;
    const DataLayout& m_layout;
    DataMemory& m_memory;
    TextStore m_texts;
    bool m_keepsTexts;
    IWdbWriter::TraceVhdlFunc m_trace = nullptr;
    IWdbWriter::TraceVlogFunc m_traceVector = nullptr;
    bool m_isDetached = false;
    bool m_areTextsRefused = false;
    bool m_remembersTexts = false;
    /// By the address of the reference.
    std::unordered_map<long long, Text> m_presentTexts;
};

bool EventSink::change(long long time, const Change& change)
{
    const State& state = change.state;
    if (change.first == 0 && change.end == state.kind->sizeOf(state.width)) {
        m_trace(time, 0, static_cast<unsigned int>(change.end), change.place, change.value);
        return true;
    }
    // Of groups, half of the bytes are a-words.
    m_traceVector(time, 0, kVectorKind, change.place, change.value + change.first,
                  static_cast<unsigned int>(4 * change.first),
                  std::min(state.width, static_cast<unsigned int>(4 * change.end)));
    return true;
}

void EventSink::fire(long long time, std::uint32_t, const State&, unsigned char* place,
                     std::uint8_t code)
{
    unsigned char value[kFiringBytes] = {static_cast<unsigned char>(*place + 1), code};
    m_trace(time, 0, kFiringBytes, place, value);
    std::memcpy(place, value, sizeof value);
}

void EventSink::storeText(long long time, std::uint32_t object, State& state, ChangeForm form,
                          std::string_view text)
{
    storeOverride(time, object, state, referTo(m_layout.overrideOf(object), form, text));
}

void EventSink::endText(long long time, std::uint32_t object, State& state)
{
    m_presentTexts.erase(m_layout.overrideOf(object));
    storeOverride(time, object, state, TextReference());
}

bool EventSink::refer(long long, std::uint32_t, State& state, std::string_view text,
                      TextReference& reference)
{
    reference = referTo(state.address, ChangeForm::Text, text);
    return true;
}

bool EventSink::forgetString(const State& state)
{
    m_presentTexts.erase(state.address);
    return true;
}

void EventSink::restate(long long time, std::uint32_t object, const State& state,
                        unsigned char* place)
{
    if (!state.kind->fires()) {
        retell(time, state, place);
    }
    if (state.wasOverridden) {
        unsigned char* const override = m_memory.at(m_layout.overrideOf(object));
        m_trace(time, 0, sizeof(TextReference), override, override);
    }
}

void EventSink::forget(long long time, std::uint32_t object, const State& state, unsigned char*,
                       unsigned char* unknown)
{
    retell(time, state, unknown);
    if (state.isOverridden) {
        unsigned char none[sizeof(TextReference)] = {};
        m_trace(time, 0, sizeof none, m_memory.at(m_layout.overrideOf(object)), none);
    }
}

void EventSink::retell(long long time, const State& state, unsigned char* value)
{
    m_trace(time, 0, static_cast<unsigned int>(state.kind->sizeOf(state.width)),
            m_memory.at(state.address), value);
}

void EventSink::retellTexts(long long time, std::uint32_t object, const State& state)
{
    if (state.kind->isText()) {
        retellText(time, state.address);
    }
    if (state.isOverridden) {
        retellText(time, m_layout.overrideOf(object));
    }
}

void EventSink::retellText(long long time, long long address)
{
    const auto present = m_presentTexts.find(address);
    if (present != m_presentTexts.end()) {
        trace(time, address, put(present->second.form, present->second.text));
    }
}

void EventSink::storeOverride(long long time, std::uint32_t object, State& state,
                              const TextReference& reference)
{
    if (!m_keepsTexts) {
        return;
    }
    const long long address = m_layout.overrideOf(object);
    if (std::memcmp(m_memory.at(address), &reference, sizeof reference) != 0) {
        trace(time, address, reference);
    }
    state.isOverridden = reference.kind != 0;
    state.wasOverridden = state.wasOverridden || state.isOverridden;
}

void EventSink::trace(long long time, long long address, const TextReference& reference)
{
    unsigned char bytes[sizeof reference];
    std::memcpy(bytes, &reference, sizeof reference);
    unsigned char* const place = m_memory.at(address);
    m_trace(time, 0, sizeof bytes, place, bytes);
    std::memcpy(place, bytes, sizeof bytes);
    count(sizeof bytes);
}

/// The reference to a text for its place in the memory.
TextReference EventSink::referTo(long long address, ChangeForm form, std::string_view text)
{
    if (m_isDetached) {
        return {};
    }
    if (!m_remembersTexts) {
        return put(form, text);
    }
    Text& present = m_presentTexts[address];
    if (present.form == form && present.text == text) {
        TextReference reference;
        std::memcpy(&reference, m_memory.at(address), sizeof reference);
        return reference;
    }
    present = {form, std::string(text)};
    countText(text.size());
    return put(form, text);
}

TextReference EventSink::put(ChangeForm form, std::string_view text)
{
    TextReference reference;
    if (!m_texts.refer(static_cast<char>(form), text, reference) && !m_areTextsRefused) {
        m_areTextsRefused = true;
        refuse("the recording can take no more texts; leave variables with long texts out");
    }
    return reference;
}

} // namespace

MakeSink makeEventSink(IWdbWriter& writer, Texts texts)
{
    return [&writer, texts](const Declarations&, const DataLayout& layout, DataMemory& memory) {
        return std::make_unique<EventSink>(writer, layout, memory, texts);
    };
}

} // namespace tracewell
