#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <iosfwd>

namespace Tracewell {

#pragma pack(push, 1)
/// An event as it travels to a live reader: 20 bytes of header and the value behind it, packed.
/// Only ever used where it lies: in a buffer by placement new, or on the heap by `new (length)`.
class TRACEWELL_API WdbLiveEvent
{
public:
    explicit WdbLiveEvent(unsigned int valueLength);

    /// `valueLength` is the number of value bytes, not the object's size.
    static void* operator new(std::size_t objectSize, unsigned int valueLength);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* event);
    static void operator delete(void* event, unsigned int);
    static void operator delete(void*, void*) noexcept {}

    static unsigned int size_of_event(unsigned int valueLength) { return valueLength + 20; }
    unsigned int sizeofEvent() const { return m_pLength + 20; }

    void setFields(long long time, long long address, const unsigned char* value);
    long long getTime() const { return m_pTime; }
    long long getStartAddress() const { return m_pStartAddress; }
    unsigned int getValuelength() const { return m_pLength; }
    const unsigned char* getValue() const
    {
        return reinterpret_cast<const unsigned char*>(this) + 20;
    }
    void dump(std::ostream& os) const;

private:
    long long m_pTime;
    long long m_pStartAddress;
    unsigned int m_pLength;
};
#pragma pack(pop)

static_assert(sizeof(WdbLiveEvent) == 20);

} // namespace Tracewell
