#pragma once

#include "names/DataLayout.h"
#include "recording/DataMemory.h"
#include "recording/ObjectTracer.h"
#include "recording/TextStore.h"
#include "vcd/VcdReader.h"

#include "IWdbWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Plays the kernel of a simulation that runs through the changes of a VCD: keeps the values of all
/// objects in a data memory, laid out by DataLayout, and hands each change to the writer's trace
/// functions before it takes place there. A value that an object has already is not traced again.
class SignalRecorder
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
    SignalRecorder(const Declarations& declarations, const DataLayout& layout,
                   Tracewell::IWdbWriter& writer, Store store);

    /// Takes one step. An empty answer is success; otherwise it says what is wrong with the value,
    /// or that the store cannot keep it.
    std::string apply(const VcdChange& change);

    /// While muted, values are kept up to date in the data memory, and nothing is traced.
    void setMuted(bool muted);
    /// Traces all values that there are once more, at the present time; for someone who has missed
    /// changes. Events do not fire again, and those of a transition database count anew.
    void restate();

    /// Values that were traced.
    unsigned long long changes() const { return m_changes; }
    long long firstTime() const { return m_firstTime; }
    long long time() const { return m_time; }

private:
    struct State
    {
        long long address;
        std::uint32_t width;
        ObjectClass objectClass;
        bool hasValue = false;
        bool isOverridden = false;
    };

    /// Cheaper than a copy in all steps but the last.
    std::string refusal() const { return m_refusal.empty() ? std::string() : m_refusal; }

    void setTime(long long time);
    void setLetter(std::uint32_t object, std::uint8_t code);
    std::string setLetters(std::uint32_t object, std::string_view letters);
    std::string setReal(std::uint32_t object, std::string_view text);
    void setText(std::uint32_t object, std::string_view text);
    std::string setPort(std::uint32_t object, std::string_view text);

    /// The plain value; it tells all.
    void storeExact(std::uint32_t object, const unsigned char* value);
    void storePlain(State& state, const unsigned char* value);
    void storeVector(const State& state, const unsigned char* value, std::size_t bytes);
    /// The plain value stays; an object without any gets its unknown one.
    void storeBeside(std::uint32_t object, char kind, std::string_view text);
    void storeText(std::uint32_t object, char kind, std::string_view text);
    void endText(std::uint32_t object);
    void storeOverride(std::uint32_t object, const TextReference& reference);
    void fire(std::uint32_t object, std::uint8_t code);
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
    /// What m_objects refused in the present step.
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
    unsigned long long m_changes = 0;
};

} // namespace tracewell
