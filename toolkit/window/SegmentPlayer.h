// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/PlaceIndex.h"
#include "record/ValueRecorder.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Tracewell {
class WdbEvent;
}

namespace tracewell {

class TextLookup;

/// Records once more what event databases of the same variables hold, from a time on: all values
/// that hold by then, as changes of that time, and the changes behind it. The databases are parts
/// of one run, each of which begins with the values that the one before ends with. Takes memory for
/// the values, and none for the run.
class SegmentPlayer
{
public:
    SegmentPlayer(const Declarations& declarations, const DataLayout& layout,
                  Tracewell::IWdbWriter& writer, const MakeSink& makeSink, long long from);

    /// Plays the next part to its end.
    /// \throws Failure, Qsim::OpenException
    void play(const std::string& path);

    ValueRecorder& values() { return m_values; }

    /// What the store could not keep, a sentence's line each, without repetitions.
    const std::vector<std::string>& refusals() const { return m_refusals; }

private:
    void begin(TextLookup& texts);
    void take(const Tracewell::WdbEvent& event, TextLookup& texts);
    void takePlain(std::uint32_t object, long long offset, const unsigned char* bytes,
                   long long count);
    void takeFiring(std::uint32_t object, std::uint8_t code, long long time);
    void takeText(std::uint32_t object, bool isOverride, const unsigned char* bytes,
                  TextLookup& texts);
    void tell(std::uint32_t object, const TextReference& reference, TextLookup& texts);
    void noteRefusal();

    ValueRecorder m_values;
    const std::vector<Object>& m_declared;
    const DataLayout& m_addresses;
    const PlaceIndex m_places;
    const long long m_from;
    bool m_hasBegun = false;
    // Before that: the texts that values have, of strings or beside plain values; and the events
    // that fired at the very time.
    std::map<std::uint32_t, TextReference> m_textsAtStart;
    std::vector<std::pair<std::uint32_t, std::uint8_t>> m_firingsAtStart;
    /// Room for a plain value.
    std::vector<unsigned char> m_whole;
    std::vector<std::string> m_refusals;
};

} // namespace tracewell
