#pragma once

#include "names/DataLayout.h"
#include "recording/DataMemory.h"
#include "recording/TextLookup.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// Brings the data memory of a recording back, event by event, and writes what changed as the value
/// changes of a VCD.
class ValueReplay
{
public:
    /// Keeps references.
    ValueReplay(const Declarations& declarations, const DataLayout& layout, TextLookup& texts);

    /// Takes an event's bytes over. What lies outside the memory is left out.
    void apply(long long address, const unsigned char* value, unsigned int length);

    /// Appends a line for every object whose value differs from that of the last call, in the
    /// order of declaration. False when there is none.
    bool takeChanges(std::string& out);

    /// Values whose text is not in the file.
    unsigned long long missingTexts() const { return m_missingTexts; }

private:
    struct Place
    {
        long long address;
        std::uint32_t object;
    };

    void mark(std::uint32_t object);
    void markRange(long long address, long long end);
    std::size_t placeOf(long long address) const;
    bool isChanged(std::size_t object) const;
    void appendValue(std::string& out, std::size_t object);
    bool appendText(std::string& out, const TextReference& reference, const std::string& code);
    void appendPlain(std::string& out, std::size_t object);
    void countFirings(long long address, const unsigned char* value, long long end);
    unsigned long long takeFirings(std::size_t object);
    TextReference referenceAt(long long address) const;

    const Declarations& m_declarations;
    const DataLayout& m_layout;
    TextLookup& m_texts;
    DataMemory m_memory;
    /// The memory as it was when each object was last written.
    DataMemory m_shown;
    std::vector<char> m_isShown;
    /// The plain values by address.
    std::vector<Place> m_places;
    /// Where the events lie, and how often each fired since it was written last.
    long long m_eventStart = 0;
    long long m_eventEnd = 0;
    std::unordered_map<std::uint32_t, unsigned long long> m_firings;
    /// For every 2^m_pageShift bytes of the memory, the last place at or before their start.
    std::vector<std::uint32_t> m_firstOfPage;
    unsigned int m_pageShift = 0;
    std::vector<std::uint32_t> m_marked;
    std::vector<char> m_isMarked;
    unsigned long long m_missingTexts = 0;
};

} // namespace tracewell
