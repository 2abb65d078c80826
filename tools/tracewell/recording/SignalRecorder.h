#pragma once

#include "names/DataLayout.h"
#include "recording/DataMemory.h"
#include "recording/TextStore.h"
#include "vcd/VcdReader.h"

#include "IWdbWriter.h"

#include <string>
#include <vector>

namespace tracewell {

/// Plays the kernel of a simulation that runs through the changes of a VCD: keeps the values of all
/// objects in a data memory, laid out by DataLayout, and hands each change to the writer's trace
/// functions before it takes place there. A value that an object has already is not traced again.
class SignalRecorder
{
public:
    /// Whether the writer keeps texts. Without them a value that its plain form cannot hold has
    /// that form alone, and a string shows when it changes, but not to what.
    enum class Texts { Kept, Lost };

    /// Keeps a reference to the layout. Tells the writer where the data memory lies and how large
    /// it is, so it comes before the writer's open.
    SignalRecorder(const Declarations& declarations, const DataLayout& layout,
                   Tracewell::IWdbWriter& writer, Texts texts);

    /// Takes one step. An empty answer is success; otherwise it says what is wrong with the value.
    std::string apply(const VcdChange& change);

    /// While muted, values are kept up to date in the data memory, and nothing is traced.
    void setMuted(bool muted);
    /// Traces all values that there are once more, at the present time; for someone who has missed
    /// changes. Events do not fire again.
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
    void storeOverride(std::uint32_t object, const TextReference& reference);
    void fire(std::uint32_t object, std::uint8_t code);
    void trace(long long address, const unsigned char* value, std::size_t bytes);

    const DataLayout& m_layout;
    Tracewell::IWdbWriter& m_writer;
    TextStore m_texts;
    bool m_keepsTexts;
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
