#pragma once

#include "TracewellExport.h"

#include <iosfwd>

namespace Tracewell {

/// A cursor over one event record in a block's image: time (i64), address delta (u32), length
/// (u32), value bytes, without alignment. The record must outlast the cursor. Addresses are byte
/// addresses of the simulation's data memory.
class TRACEWELL_API WdbEvent
{
public:
    static constexpr unsigned int kHeaderSize = 16;

    WdbEvent() = default;
    WdbEvent(char* record, long long baseAddress) : m_record(record), m_baseAddress(baseAddress) {}

    long long getTime() const;
    long long getStartAddress() const;
    unsigned int getValuelength() const;
    const unsigned char* getValue() const;
    unsigned int sizeofEvent() const;
    long long getBaseAddress() const { return m_baseAddress; }
    void setBase(char* record) { m_record = record; }
    void setBaseAddress(long long baseAddress) { m_baseAddress = baseAddress; }

    /// The byte at `address`, which must lie in the event.
    unsigned char getValue(long long address) const;
    const unsigned char* getValues(long long address) const;
    unsigned char getValueWithStartAddress(long long start, long long address) const;

    bool isWithinRange(long long address) const;
    /// True when the first or the last byte of the query lies in the event; a query that encloses
    /// the event on both sides gives false.
    bool isWithinRange(long long address, long long size) const;
    /// low <= value <= high; nothing of the event is involved.
    bool isWithinRange(long long low, long long high, long long value) const;

    void dump(std::ostream& os) const;

private:
    char* m_record = nullptr;
    long long m_baseAddress = 0;
};

} // namespace Tracewell
