// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"
#include "record/DataMemory.h"

#include "IWdbWriter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tracewell {

/// Where a ValueRecorder writes to: traces the changes of values in the form of one store, and
/// refuses by name what that cannot hold. The recorder keeps the plain values and tells changes
/// alone. On the simulation's thread.
class ValueSink
{
public:
    /// What the recorder knows of an object.
    struct State
    {
        const ValueKind* kind = nullptr;
        /// Where the plain value lies in the data memory.
        long long address = 0;
        std::uint32_t width = 0;
        bool hasValue = false;
        /// A text beside the plain value tells all.
        bool isOverridden = false;
        /// At some time so far.
        bool wasOverridden = false;
    };

    /// A value of an object, which has not taken place yet.
    struct Change
    {
        std::uint32_t object;
        const State& state;
        /// The plain value so far, if it has one.
        unsigned char* place;
        /// The whole new one; of it the bytes from `first` up to `end` differ.
        unsigned char* value;
        std::size_t first;
        std::size_t end;
    };

    ValueSink() = default;
    ValueSink(const ValueSink&) = delete;
    ValueSink& operator=(const ValueSink&) = delete;
    virtual ~ValueSink() = default;

    /// While muted nothing is traced, and all else goes on.
    virtual void setMuted(bool muted) = 0;
    /// The writer is closed for good.
    virtual void detach() {}
    /// A trace function that takes bytes of a plain value by their place, for changes that need no
    /// more than that; null in a store that has none. It is another one when muted.
    virtual Tracewell::IWdbWriter::TraceVhdlFunc byteTrace() const { return nullptr; }

    /// False when the store does not keep the plain value.
    virtual bool change(long long time, const Change& change) = 0;
    virtual void fire(long long time, std::uint32_t object, const State& state,
                      unsigned char* place, std::uint8_t code) = 0;
    /// A text that tells what the plain value does not; sets what the state tells of it.
    virtual void storeText(long long time, std::uint32_t object, State& state, ChangeForm form,
                           std::string_view text) = 0;
    /// The plain value tells all again.
    virtual void endText(long long time, std::uint32_t object, State& state) = 0;
    /// The plain value of a string; false when the store takes no strings, and refuses it.
    virtual bool refer(long long time, std::uint32_t object, State& state, std::string_view text,
                       TextReference& reference) = 0;
    /// The string has no text any more; false when the store takes no strings.
    virtual bool forgetString(const State&) { return false; }

    /// Traces a value that the object has already, with the text beside it, for someone who missed
    /// it. What fires does not.
    virtual void restate(long long time, std::uint32_t object, const State& state,
                         unsigned char* place) = 0;
    /// Traces `unknown` in the value's place, without a text beside it. restate() brings both back.
    virtual void forget(long long time, std::uint32_t object, const State& state,
                        unsigned char* place, unsigned char* unknown) = 0;
    /// Firings count from 0 again.
    virtual void countAnew() {}

    /// From now on texts are kept for retell(), and one that a value has already is never traced
    /// again.
    virtual void rememberTexts() {}
    /// The writer was opened anew, on another file, in which nothing is.
    virtual void beginFile() {}
    /// Traces a plain value that the file must know.
    virtual void retell(long long, const State&, unsigned char*) {}
    /// Traces the texts that the object has, as the file at hand refers to them.
    virtual void retellTexts(long long, std::uint32_t, const State&) {}

    /// What was refused and not taken yet, as the rest of a sentence's line. Of one object that is
    /// said once.
    const std::string& refusal() const { return m_refusal; }
    std::string takeRefusal();

    /// What was traced beside plain values.
    unsigned long long changes() const { return m_changes; }
    /// The bytes of what was traced beside plain values.
    unsigned long long bytes() const { return m_bytes; }

protected:
    void refuse(const std::string& what);
    void count(std::size_t bytes)
    {
        ++m_changes;
        m_bytes += bytes;
    }
    void countText(std::size_t bytes) { m_bytes += bytes; }

private:
    std::string m_refusal;
    unsigned long long m_changes = 0;
    unsigned long long m_bytes = 0;
};

/// Makes the sink of a store, for a recorder that keeps its values in `memory`. Takes references.
/// \throws Failure, without a name, for variables that the store cannot keep
using MakeSink = std::function<std::unique_ptr<ValueSink>(
    const Declarations& declarations, const DataLayout& layout, DataMemory& memory)>;

enum class Texts {
    Kept,
    /// The writer keeps none. A value that its plain form cannot hold has that form alone, and a
    /// string shows when it changes, but not to what.
    Untold
};

/// For a writer of events. Keeps a reference to it.
MakeSink makeEventSink(Tracewell::IWdbWriter& writer, Texts texts = Texts::Kept);
/// For a writer of transitions, see TransitionLayout. What only a text can tell is refused.
MakeSink makeObjectSink(Tracewell::IWdbWriter& writer);

} // namespace tracewell
