#pragma once

#include "names/DataLayout.h"
#include "recording/TextLookup.h"

#include <cstdint>
#include <memory>
#include <string>
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
    void mark(std::uint32_t object);
    void markRange(long long address, long long end);
    bool isChanged(std::size_t object) const;
    void appendValue(std::string& out, std::size_t object);
    bool appendText(std::string& out, const TextReference& reference, const std::string& code);
    void appendPlain(std::string& out, std::size_t object);
    TextReference referenceAt(long long address) const;

    const Declarations& m_declarations;
    const DataLayout& m_layout;
    TextLookup& m_texts;
    std::vector<unsigned char> m_memory;
    /// The memory as it was when each object was last written.
    std::vector<unsigned char> m_shown;
    std::vector<char> m_isShown;
    /// Objects by address: one entry for every 8 bytes below m_byteStart, one a byte from there on.
    std::vector<std::uint32_t> m_objectAt;
    long long m_byteStart = 0;
    std::vector<std::uint32_t> m_marked;
    std::vector<char> m_isMarked;
    unsigned long long m_missingTexts = 0;
};

} // namespace tracewell
