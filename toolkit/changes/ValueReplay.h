// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"
#include "names/PlaceIndex.h"
#include "playback/TextSource.h"
#include "record/DataMemory.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// Brings the data memory of a recording back, change by change, and tells values as a VCD has
/// them.
class ValueReplay
{
public:
    /// Keeps references to all three.
    ValueReplay(const Declarations& declarations, const DataLayout& layout, TextSource& texts);

    /// Before anything is applied: no other objects than these are of interest.
    void select(const std::vector<std::uint32_t>& objects);

    /// Takes an event's bytes over. What lies outside the memory is left out.
    void apply(long long address, const unsigned char* value, unsigned int length);

    /// Gives a part of an object that is no event these bytes; `address` is inside of it.
    void set(std::uint32_t object, long long address, const unsigned char* value,
             std::size_t length)
    {
        std::memcpy(m_memory.at(address), value, length);
        mark(object);
    }

    /// The event fires so many times more, with a letter's code.
    void fire(std::uint32_t object, unsigned long long times, std::uint8_t code);
    /// Gives a vector letters that its groups cannot hold, the leftmost first; empty for none.
    void spell(std::uint32_t object, const std::string& letters);
    /// The memory at an address inside of it.
    const unsigned char* at(long long address) const { return m_memory.at(address); }

    /// As if no event had fired since the last call of takeChanges.
    void forgetFirings() { m_firings.clear(); }
    /// Fills in the objects that differ from what they were at the last call, or fired since, in
    /// the order of declaration.
    void takeChanges(std::vector<std::uint32_t>& out);
    /// Appends the object's value as it stands in front of the code in a value change: "1",
    /// "b0x1", "r2.5", "stext". Nothing for an object that had no value at the last call of
    /// takeChanges.
    void appendValue(std::string& out, std::uint32_t object);
    /// The same with blank, code and end of line: one line, or one for each firing of an event.
    void appendChange(std::string& out, std::uint32_t object);
    /// The plain value, as ChangeStream gives it.
    const unsigned char* plainValue(std::uint32_t object) const;
    /// How often the event fired between the last two calls of takeChanges.
    unsigned long long firings(std::uint32_t object) const;

    /// False when the object's value is a text that is not in the file.
    bool isTextThere(std::uint32_t object);
    /// Values whose text is not in the file.
    unsigned long long missingTexts() const { return m_missingTexts; }

private:
    void mark(std::uint32_t object)
    {
        if (m_isMarked[object] == 0) {
            m_isMarked[object] = 1;
            m_marked.push_back(object);
        }
    }
    void markRange(long long address, long long end);
    bool isChanged(std::size_t object) const;
    void show(std::size_t object);
    bool appendText(std::string& out, const TextReference& reference);
    void appendPlain(std::string& out, std::uint32_t object);
    void countFirings(long long address, const unsigned char* value, long long end);
    TextReference referenceAt(long long address) const;

    const Declarations& m_declarations;
    const DataLayout& m_layout;
    TextSource& m_texts;
    DataMemory m_memory;
    /// The memory as it was at the last call of takeChanges.
    DataMemory m_shown;
    std::vector<char> m_isShown;
    const PlaceIndex m_places;
    /// How often each event fired since the last call.
    std::unordered_map<std::uint32_t, unsigned long long> m_firings;
    /// The same between the last two calls.
    std::unordered_map<std::uint32_t, unsigned long long> m_takenFirings;
    std::unordered_map<std::uint32_t, std::string> m_letters;
    std::vector<std::uint32_t> m_marked;
    /// For good for objects of no interest.
    std::vector<char> m_isMarked;
    unsigned long long m_missingTexts = 0;
};

} // namespace tracewell
