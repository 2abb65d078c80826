// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"
#include "record/DataMemory.h"
#include "record/ValueSink.h"

#include "IWdbWriter.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// Plays the kernel of a simulation: keeps the values of all objects in a data memory, laid out by
/// DataLayout, and hands each change to a sink before it takes place there. A value that an object
/// has already is not handed on again. On the simulation's thread.
class ValueRecorder
{
public:
    /// Keeps references to the table, the layout and the writer behind the sink. Tells the writer
    /// where the data memory lies and how large it is, so it comes before the writer's open.
    ValueRecorder(const Declarations& declarations, const DataLayout& layout,
                  Tracewell::IWdbWriter& writer, const MakeSink& makeSink);
    ValueRecorder(const ValueRecorder&) = delete;
    ValueRecorder& operator=(const ValueRecorder&) = delete;

    void setTime(long long time);
    // New values at that time.

    /// What a value change says. False when it is no value in that form.
    bool store(std::uint32_t object, ChangeForm form, std::string_view text);
    /// The same for one letter, by its code.
    void storeLetter(std::uint32_t object, std::uint8_t code);

    // The same of objects of the kind that the operation names.

    /// A letter's code, see kLetters.
    void storeScalar(std::uint32_t object, std::uint8_t code)
    {
        State& state = m_states[object];
        unsigned char* const place = m_memory.at(state.address);
        if (!state.hasValue || state.isOverridden || m_trace == nullptr) {
            storeExact(object, &code);
        } else if (*place != code) {
            m_trace(m_time, 0, 1, place, &code);
            *place = code;
            ++m_changes;
        }
    }
    /// An a-word and a b-word for every 32 bits, as kVector has them.
    void storeGroups(std::uint32_t object, const unsigned char* groups)
    {
        storeExact(object, groups);
    }
    /// a and b of a letter or of a vector of at most 32 bits, of which `mask` has one for each. For
    /// someone who calls it much more often than not with a value that can be traced at once.
    /// False, and nothing done, where another operation must do: without a mask too.
    bool tryStoreBits(std::uint32_t object, std::uint32_t mask, std::uint64_t a, std::uint64_t b);
    void storeReal(std::uint32_t object, double value)
    {
        unsigned char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        storeExact(object, bytes);
    }
    /// Two-state bits of a scalar or a vector of at most 64; those above its width are 0. For an
    /// object that takes no other values, from someone who knows that they differ from those
    /// before.
    void changeBits(std::uint32_t object, std::uint64_t bits);
    /// The same of a vector of any width, 32 bits a word, bit 0 first.
    void changeWords(std::uint32_t object, const std::uint32_t* words);
    void fire(std::uint32_t object, std::uint8_t code);

    // Of values whose plain form is known.

    /// The plain value, which tells all.
    void storeExact(std::uint32_t object, const unsigned char* value);

    bool hasValue(std::uint32_t object) const { return m_states[object].hasValue; }
    /// The plain value that the object has.
    const unsigned char* plainOf(std::uint32_t object) const
    {
        return m_memory.at(m_states[object].address);
    }
    /// The plain value alone: a text beside it stays.
    void storePlain(std::uint32_t object, const unsigned char* value);
    /// A text beside the plain value tells all.
    void storeText(std::uint32_t object, ChangeForm form, std::string_view text)
    {
        m_sink->storeText(m_time, object, m_states[object], form, text);
    }
    /// The object has no text any more: its plain value tells all again, or nothing is known of it
    /// if it is a string.
    void forgetText(std::uint32_t object);

    /// While muted, values are kept up to date in the data memory, and nothing is traced. Firings
    /// are lost.
    void setMuted(bool muted);
    /// The writer is closed for good: muted, and texts go nowhere.
    void detach();
    /// Traces all values that there are once more, at the present time; for someone who has missed
    /// changes. Events do not fire again.
    void restate();
    /// Events count from 0 again, for someone who has seen none of them: by a first count above 1
    /// they would seem to have fired so often at once.
    void countAnew();
    /// Traces at the present time that no value is known: x, NaN, and no text. The values
    /// themselves stay; restate() brings them back. Events are left as they are.
    void forgetAll();

    /// From now on the texts that values have are kept in memory, for beginFile(); and a text that
    /// a value has already is never traced again. Not for a transition database.
    void rememberTexts() { m_sink->rememberTexts(); }
    /// The writer was opened anew, on another file: traces all values that there are, with their
    /// texts, at the present time, so that the file tells all from there on. Where nothing is known
    /// (after forgetAll()) it traces that instead, and goes on muted. Events do not fire, and count
    /// from 0 again. Only after rememberTexts().
    void beginFile(bool isKnown);

    /// What the store could not keep since it was taken last, as the rest of a sentence's line;
    /// empty when there was nothing. Each object is told of once.
    std::string takeRefusal() { return m_sink->takeRefusal(); }
    const std::string& refusal() const { return m_sink->refusal(); }

    /// How many changes were traced, texts included.
    unsigned long long changes() const { return m_changes + m_sink->changes(); }
    /// About the bytes that these took in the store, before it compressed them.
    unsigned long long traffic() const
    {
        return kRecordBytes * changes() + m_valueBytes + m_sink->bytes();
    }
    /// The same for beginFile(), but for the texts.
    unsigned long long trafficOfAll() const;
    long long firstTime() const { return m_firstTime; }
    long long time() const { return m_time; }

private:
    using State = ValueSink::State;

    /// What a change takes in a store, with a value of a few bytes.
    static constexpr unsigned long long kRecordBytes = 20;

    /// The plain value stays; an object without any gets its unknown one.
    void storeBeside(std::uint32_t object, ChangeForm form, std::string_view text);
    void storeString(std::uint32_t object, std::string_view text);
    void changeSlowly(std::uint32_t object, const std::uint32_t* words);
    /// What differs of a two-state value lies in a-words alone, and in those bytes of them that the
    /// width fills.
    void changeWord(unsigned char* place, std::uint32_t word, unsigned int bits);
    std::uint32_t objectOf(const State& state) const
    {
        return static_cast<std::uint32_t>(&state - m_states.data());
    }

    const DataLayout& m_layout;
    Tracewell::IWdbWriter& m_writer;
    DataMemory m_memory;
    std::unique_ptr<ValueSink> m_sink;
    /// The sink's, for changes that need no more; may be null.
    Tracewell::IWdbWriter::TraceVhdlFunc m_trace = nullptr;
    std::vector<State> m_states;
    /// Room for the plain value of any object.
    std::vector<unsigned char> m_scratch;
    std::string m_beside;
    long long m_time = 0;
    long long m_firstTime = 0;
    bool m_hasTime = false;
    bool m_isMuted = false;
    unsigned long long m_changes = 0;
    /// Of values, but for those of a few bytes.
    unsigned long long m_valueBytes = 0;
};

inline void ValueRecorder::changeWord(unsigned char* place, std::uint32_t word, unsigned int bits)
{
    unsigned char bytes[sizeof word];
    std::memcpy(bytes, &word, sizeof word);
    m_trace(m_time, 0, bits <= 8 ? 1 : bits <= 16 ? 2 : 4, place, bytes);
    std::memcpy(place, bytes, sizeof bytes);
    ++m_changes;
}

inline bool ValueRecorder::tryStoreBits(std::uint32_t object, std::uint32_t mask, std::uint64_t a,
                                        std::uint64_t b)
{
    const State& state = m_states[object];
    if (mask == 0 || m_trace == nullptr || !state.hasValue || state.isOverridden) {
        return false;
    }
    unsigned char* const place = m_memory.at(state.address);
    if (mask == 1) {
        const auto code = static_cast<unsigned char>((a & 1) | (b & 1) << 1);
        if (*place != code) {
            unsigned char traced = code;
            m_trace(m_time, 0, 1, place, &traced);
            *place = code;
            ++m_changes;
        }
        return true;
    }
    const std::uint64_t group = (a & mask) | (b & mask) << 32;
    std::uint64_t before = 0;
    std::memcpy(&before, place, sizeof before);
    if (before != group) {
        unsigned char bytes[sizeof group];
        std::memcpy(bytes, &group, sizeof group);
        m_trace(m_time, 0, sizeof bytes, place, bytes);
        std::memcpy(place, &group, sizeof group);
        ++m_changes;
        m_valueBytes += sizeof bytes;
    }
    return true;
}

inline void ValueRecorder::changeBits(std::uint32_t object, std::uint64_t bits)
{
    const State& state = m_states[object];
    unsigned char* const place = m_memory.at(state.address);
    const auto low = static_cast<std::uint32_t>(bits);
    const auto high = static_cast<std::uint32_t>(bits >> 32);
    if (m_trace == nullptr || !state.hasValue) {
        const std::uint32_t words[] = {low, high};
        changeSlowly(object, words);
    } else if (state.kind->isLetter()) {
        auto code = static_cast<unsigned char>(low);
        m_trace(m_time, 0, 1, place, &code);
        *place = code;
        ++m_changes;
    } else if (state.width <= 32) {
        changeWord(place, low, state.width);
    } else {
        std::uint32_t before[3];
        std::memcpy(before, place, sizeof before);
        if (before[0] != low) {
            changeWord(place, low, 32);
        }
        if (before[2] != high) {
            changeWord(place + 8, high, state.width - 32);
        }
    }
}

} // namespace tracewell
