// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <list>

namespace Tracewell {

/// A change before it becomes a packet. Never leaves the process; the value bytes are the caller's.
class TRACEWELL_API WdbLivePacketContainer
{
public:
    /// A packet is so many bytes longer than its value.
    static constexpr unsigned int kPacketOverhead = 24;

    void setData(long long time, unsigned int length, long long address, const unsigned char* value)
    {
        m_time = time;
        m_length = length;
        m_address = address;
        m_value = value;
    }
    long long getTime() const { return m_time; }
    unsigned int getLength() const { return m_length; }
    long long getAddress() const { return m_address; }
    const unsigned char* getValue() const { return m_value; }

    /// Appends to `out` the pieces, in order of address, of a change whose packet comes to
    /// `maxSize` bytes or more. A piece's packet comes to about half of that, the last one to
    /// `maxSize` at most; the others keep to it when it is at least twice a packet's overhead. A
    /// change that is shorter adds nothing: it is sent as it is. Nothing either for a `maxSize`
    /// that leaves no room for a value byte, or a length that no packet can have.
    void splitContainer(std::list<WdbLivePacketContainer>& out, unsigned int maxSize) const;

private:
    WdbLivePacketContainer makePiece(unsigned long long offset, unsigned int length) const;

    long long m_time = 0;
    unsigned int m_length = 0;
    long long m_address = 0;
    const unsigned char* m_value = nullptr;
};

} // namespace Tracewell
