// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <cstring>
#include <iosfwd>

namespace Tracewell {

#pragma pack(push, 1)
/// An event as it travels to a live reader: 20 bytes of header and the value behind it, packed.
/// Since its length varies it is only ever used where it lies: in a buffer by placement new, or on
/// the heap by `new (length) WdbLiveEvent(length)`.
class TRACEWELL_API WdbLiveEvent
{
public:
    static constexpr unsigned int kHeaderSize = 20;

    /// Time and address 0. The value's bytes stay as they are in memory.
    explicit WdbLiveEvent(unsigned int valueLength) : m_pLength(valueLength) {}

    /// Allocates kHeaderSize bytes more than it is told: `valueLength` is the number of value
    /// bytes, not an object size.
    static void* operator new(std::size_t valueLength);
    static void* operator new(std::size_t /*objectSize*/, unsigned int valueLength)
    {
        return operator new(static_cast<std::size_t>(valueLength));
    }
    static void* operator new(std::size_t /*objectSize*/, void* place) noexcept { return place; }
    static void operator delete(void* event);
    static void operator delete(void* event, unsigned int /*valueLength*/)
    {
        operator delete(event);
    }
    static void operator delete(void* /*event*/, void* /*place*/) noexcept {}

    static unsigned int size_of_event(unsigned int valueLength)
    {
        return valueLength + kHeaderSize;
    }
    unsigned int sizeofEvent() const { return size_of_event(m_pLength); }

    /// Copies as many bytes from `value` as the constructor was told.
    void setFields(long long time, long long address, const unsigned char* value)
    {
        m_pTime = time;
        m_pStartAddress = address;
        std::memcpy(reinterpret_cast<unsigned char*>(this) + kHeaderSize, value, m_pLength);
    }
    long long getTime() const { return m_pTime; }
    /// Relative to the writer's base.
    long long getStartAddress() const { return m_pStartAddress; }
    unsigned int getValuelength() const { return m_pLength; }
    const unsigned char* getValue() const
    {
        return reinterpret_cast<const unsigned char*>(this) + kHeaderSize;
    }
    void dump(std::ostream& os) const;

private:
    long long m_pTime = 0;
    long long m_pStartAddress = 0;
    unsigned int m_pLength;
};
#pragma pack(pop)

static_assert(sizeof(WdbLiveEvent) == WdbLiveEvent::kHeaderSize);

} // namespace Tracewell
