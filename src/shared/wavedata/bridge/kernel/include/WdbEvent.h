// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstring>
#include <iosfwd>
#include <type_traits>

namespace Tracewell {

/// What stands before the value bytes of an event record.
struct WdbEventRecordHeader
{
    long long m_time;
    /// Start address minus the block's base address, cut to 32 bits.
    unsigned int m_addressDelta;
    unsigned int m_length;
};

static_assert(sizeof(WdbEventRecordHeader) == 16 &&
              std::is_trivially_copyable_v<WdbEventRecordHeader>);

/// A cursor over one event record in a block's image: time (i64), address delta (u32), length
/// (u32), value bytes, without alignment. The record must outlast the cursor. Addresses are byte
/// addresses of the simulation's data memory.
class TRACEWELL_API WdbEvent
{
public:
    static constexpr unsigned int kHeaderSize = sizeof(WdbEventRecordHeader);

    WdbEvent() = default;
    WdbEvent(char* record, long long baseAddress) : m_record(record), m_baseAddress(baseAddress) {}

    long long getTime() const { return read<long long>(0); }
    long long getStartAddress() const
    {
        return static_cast<long long>(static_cast<unsigned long long>(m_baseAddress) +
                                      getAddressDelta());
    }
    unsigned int getValuelength() const { return read<unsigned int>(12); }
    const unsigned char* getValue() const
    {
        return reinterpret_cast<const unsigned char*>(m_record) + kHeaderSize;
    }
    unsigned int sizeofEvent() const { return kHeaderSize + getValuelength(); }
    long long getBaseAddress() const { return m_baseAddress; }
    void setBase(char* record) { m_record = record; }
    void setBaseAddress(long long baseAddress) { m_baseAddress = baseAddress; }

    /// The byte at `address`, which must lie in the event.
    unsigned char getValue(long long address) const { return *getValues(address); }
    /// The bytes from `address` on.
    const unsigned char* getValues(long long address) const
    {
        return getValue() + (static_cast<unsigned int>(address) - getAddressDelta() -
                             static_cast<unsigned int>(m_baseAddress));
    }
    /// As getValue(address), for callers that have the event's start address at hand.
    unsigned char getValueWithStartAddress(long long start, long long address) const
    {
        return getValue()[address - start];
    }

    bool isWithinRange(long long address) const
    {
        const long long start = getStartAddress();
        return start <= address &&
               static_cast<unsigned long long>(address) - static_cast<unsigned long long>(start) <
                   getValuelength();
    }
    /// True when the first or the last byte of the query lies in the event; a query that encloses
    /// the event on both sides gives false.
    bool isWithinRange(long long address, long long size) const
    {
        const unsigned long long last =
            static_cast<unsigned long long>(address) + static_cast<unsigned long long>(size) - 1;
        return isWithinRange(address) || isWithinRange(static_cast<long long>(last));
    }
    /// low <= value <= high; nothing of the event is involved.
    bool isWithinRange(long long low, long long high, long long value) const
    {
        return low <= value && value <= high;
    }

    void dump(std::ostream& os) const;

private:
    unsigned int getAddressDelta() const { return read<unsigned int>(8); }

    template <class T> T read(unsigned int offset) const
    {
        T value;
        std::memcpy(&value, m_record + offset, sizeof value);
        return value;
    }

    char* m_record = nullptr;
    long long m_baseAddress = 0;
};

} // namespace Tracewell
