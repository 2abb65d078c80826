#pragma once

#include "names/Declarations.h"
#include "names/TransitionLayout.h"

#include "IWdbWriter.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace tracewell {

/// Traces the changes of objects for a transition database, by the numbers and in the form that
/// TransitionLayout tells. What cannot be told in that form is refused: nothing is lost silently.
/// On the simulation's thread.
class ObjectTracer
{
public:
    /// Keeps a reference to the declarations.
    ObjectTracer(const Declarations& declarations, Tracewell::IWdbWriter& writer);

    const TransitionLayout& layout() const { return m_layout; }
    /// While muted nothing is traced, and all else goes on.
    void setMuted(bool muted);

    // A new value of an object, in the form of DataLayout. A null `before` stands for none.

    void traceScalar(std::uint32_t object, long long time, const unsigned char* before,
                     unsigned char code);
    /// The groups from bit `firstBit` on, a multiple of 32, up to `endBit` alone; `before` has all
    /// groups.
    void traceVector(std::uint32_t object, long long time, unsigned char* before,
                     unsigned char* groups, unsigned int firstBit, unsigned int endBit);
    void traceReal(std::uint32_t object, long long time, const unsigned char* value);

    // An empty answer is success; otherwise it says what is refused and why, as the rest of a
    // sentence's line. Of one object that is said once, and later refusals are as silent as
    // success.

    std::string traceFiring(std::uint32_t object, long long time, std::uint8_t code);
    /// A text of `kind` that tells what the plain value, which has been traced, does not.
    std::string traceText(std::uint32_t object, long long time, char kind, std::string_view text);
    /// The plain value tells all again.
    void endText(std::uint32_t object, long long time);

    /// Traces a value that the object has already, with the text beside it, for someone who missed
    /// it. An event does not fire.
    void restate(std::uint32_t object, long long time, unsigned char* value);
    /// Firings count from 1 again.
    void countAnew() { m_firings.clear(); }
    /// Traces a value that stands for none, without a text beside it. restate() brings both back.
    void forget(std::uint32_t object, long long time, unsigned char* value, unsigned char* unknown);

private:
    struct Firings
    {
        std::uint32_t count = 0;
        std::uint32_t atTime = 0;
        long long time = -1;
        std::uint8_t code = 0;
    };

    void restateVector(std::uint32_t object, long long time, unsigned char* value, bool isKnown);
    void traceNineState(std::uint32_t id, long long time, unsigned char code);
    std::string refusal(std::uint32_t object, const std::string& what);

    const Declarations& m_declarations;
    const TransitionLayout m_layout;
    Tracewell::IWdbWriter& m_writer;
    Tracewell::IWdbWriter::TraceVhdlFuncScalar m_trace;
    Tracewell::IWdbWriter::TraceVlogFunc m_traceVector;
    std::unordered_map<std::uint32_t, Firings> m_firings;
    /// Letters of vectors that have or had some that four states cannot tell, bit 0 first, as codes
    /// of nine-state objects.
    std::unordered_map<std::uint32_t, std::string> m_nineStates;
    std::unordered_set<std::uint32_t> m_refused;
};

} // namespace tracewell
