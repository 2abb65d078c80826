#pragma once

#include "names/DataLayout.h"
#include "record/DataMemory.h"
#include "record/ObjectTracer.h"
#include "record/TextStore.h"

#include "IWdbWriter.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// Plays the kernel of a simulation: keeps the values of all objects in a data memory, laid out by
/// DataLayout, and hands each change to the writer's trace functions before it takes place there. A
/// value that an object has already is not traced again. On the simulation's thread.
class ValueRecorder
{
public:
    /// What the writer feeds.
    enum class Store {
        Events,
        /// One that keeps no texts. A value that its plain form cannot hold has that form alone,
        /// and a string shows when it changes, but not to what.
        EventsWithoutTexts,
        /// By object, see TransitionLayout. What only a text can tell is refused.
        Transitions
    };

    /// Keeps references to the table and the layout. Tells the writer where the data memory lies
    /// and how large it is, so it comes before the writer's open.
    ValueRecorder(const Declarations& declarations, const DataLayout& layout,
                  Tracewell::IWdbWriter& writer, Store store);
    ValueRecorder(const ValueRecorder&) = delete;
    ValueRecorder& operator=(const ValueRecorder&) = delete;

    void setTime(long long time);
    // New values at that time, of objects of the class that the operation names.

    /// A letter's code, see kLetters.
    void storeScalar(std::uint32_t object, std::uint8_t code)
    {
        State& state = m_states[object];
        if (!state.hasValue || state.isOverridden || *m_memory.at(state.address) != code) {
            storeExact(object, &code);
        }
    }
    /// An a-word and a b-word for every 32 bits, as DataLayout has them.
    void storeGroups(std::uint32_t object, const unsigned char* groups)
    {
        storeExact(object, groups);
    }
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
    void storeString(std::uint32_t object, std::string_view text);
    /// Letters of a scalar or vector, the leftmost first; false when they are none.
    bool storeLetters(std::uint32_t object, std::string_view letters);
    void fire(std::uint32_t object, std::uint8_t code);

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
    void rememberTexts() { m_remembersTexts = true; }
    /// The writer was opened anew, on another file: traces all values that there are, with their
    /// texts, at the present time, so that the file tells all from there on. Where nothing is known
    /// (after forgetAll()) it traces that instead, and goes on muted. Events do not fire, and count
    /// from 0 again. Only after rememberTexts().
    void beginFile(bool isKnown);

    /// What the store could not keep since the last call, as the rest of a sentence's line; empty
    /// when there was nothing. Each object is told of once.
    std::string takeRefusal();

    /// Values that were traced.
    unsigned long long changes() const { return m_changes; }
    /// About the bytes that these took in the store, before it compressed them.
    unsigned long long traffic() const { return kRecordBytes * m_changes + m_valueBytes; }
    /// The same for beginFile(), but for the texts.
    unsigned long long trafficOfAll() const;
    long long firstTime() const { return m_firstTime; }
    long long time() const { return m_time; }

protected:
    struct State
    {
        long long address;
        std::uint32_t width;
        ObjectClass objectClass;
        bool hasValue = false;
        bool isOverridden = false;
        /// At some time so far.
        bool wasOverridden = false;
    };

    /// Cheaper than a copy in all steps but the last.
    std::string refusal() const { return m_refusal.empty() ? std::string() : m_refusal; }

    State& stateOf(std::uint32_t object) { return m_states[object]; }
    /// The plain value that the object has.
    const unsigned char* plainOf(const State& state) const { return m_memory.at(state.address); }
    /// Room for the plain value of any object.
    unsigned char* scratch() { return m_groups.data(); }

    /// The plain value; it tells all.
    void storeExact(std::uint32_t object, const unsigned char* value);
    void storePlain(State& state, const unsigned char* value);
    /// The plain value stays; an object without any gets its unknown one.
    void storeBeside(std::uint32_t object, char kind, std::string_view text);
    void storeText(std::uint32_t object, char kind, std::string_view text);
    /// The plain value tells all again.
    void endText(std::uint32_t object);
    /// Nothing is known of the object any more, if it is a string that had a text.
    void forgetString(std::uint32_t object);

private:
    /// What a change takes in a store, with a value of a few bytes.
    static constexpr unsigned long long kRecordBytes = 20;

    struct Text
    {
        char kind = 0;
        std::string text;
    };

    void changeSlowly(std::uint32_t object, const std::uint32_t* words);
    /// What differs of a two-state value lies in a-words alone, and in those bytes of them that the
    /// width fills.
    void changeWord(unsigned char* place, std::uint32_t word, unsigned int bits);
    void storeVector(const State& state, const unsigned char* value, std::size_t bytes);
    TextReference refer(long long address, char kind, std::string_view text);
    TextReference put(char kind, std::string_view text);
    void retell(long long address);
    void forget(const State& state);
    void tracePlain(const State& state, unsigned char* value);
    void traceOverride(const State& state, unsigned char* reference);
    void noteRefusal(const std::string& refusal);
    void storeOverride(std::uint32_t object, const TextReference& reference);
    void trace(long long address, const unsigned char* value, std::size_t bytes);
    void keep(unsigned char* place, const unsigned char* value, std::size_t bytes);
    std::uint32_t objectOf(const State& state) const
    {
        return static_cast<std::uint32_t>(&state - m_states.data());
    }

    const DataLayout& m_layout;
    Tracewell::IWdbWriter& m_writer;
    TextStore m_texts;
    bool m_keepsTexts;
    /// Only for a transition database.
    std::unique_ptr<ObjectTracer> m_objects;
    /// What m_objects refused since it was taken last.
    std::string m_refusal;
    Tracewell::IWdbWriter::TraceVhdlFunc m_trace;
    Tracewell::IWdbWriter::TraceVlogFunc m_traceVector;
    DataMemory m_memory;
    std::vector<State> m_states;
    std::vector<unsigned char> m_groups;
    long long m_time = 0;
    long long m_firstTime = 0;
    bool m_hasTime = false;
    bool m_isMuted = false;
    bool m_remembersTexts = false;
    /// By the address of the reference.
    std::unordered_map<long long, Text> m_presentTexts;
    unsigned long long m_changes = 0;
    /// Of values, but for those of a few bytes, and texts.
    unsigned long long m_valueBytes = 0;
    bool m_isDetached = false;
    bool m_areTextsRefused = false;
};

inline void ValueRecorder::changeWord(unsigned char* place, std::uint32_t word, unsigned int bits)
{
    unsigned char bytes[sizeof word];
    std::memcpy(bytes, &word, sizeof word);
    m_trace(m_time, 0, bits <= 8 ? 1 : bits <= 16 ? 2 : 4, place, bytes);
    std::memcpy(place, bytes, sizeof bytes);
    ++m_changes;
}

inline void ValueRecorder::changeBits(std::uint32_t object, std::uint64_t bits)
{
    const State& state = m_states[object];
    unsigned char* const place = m_memory.at(state.address);
    const auto low = static_cast<std::uint32_t>(bits);
    const auto high = static_cast<std::uint32_t>(bits >> 32);
    if (m_objects || !state.hasValue) {
        const std::uint32_t words[] = {low, high};
        changeSlowly(object, words);
    } else if (state.objectClass == ObjectClass::Scalar) {
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
