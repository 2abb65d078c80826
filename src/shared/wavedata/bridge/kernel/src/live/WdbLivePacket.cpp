// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLivePacket.h"

#include <new>
#include <ostream>

namespace Tracewell {

void* WdbLivePacket::operator new(std::size_t numBytes)
{
    return ::operator new(numBytes + kHeaderSize);
}

void WdbLivePacket::operator delete(void* packet)
{
    ::operator delete(packet);
}

void WdbLivePacket::printPacket(std::ostream& os) const
{
    const std::ios_base::fmtflags flags = os.flags();
    os << std::dec << "Bytes " << size_of() << ": " << m_numBytes << ' ' << std::hex;
    for (unsigned int i = 0; i < m_numBytes; ++i) {
        os << static_cast<unsigned int>(static_cast<unsigned char>(getPayload()[i])) << ' ';
    }
    os << std::endl;
    os.flags(flags);
}

void WdbLivePacket::populatePacket(char seed, std::ostream& os, bool print)
{
    char letter = seed;
    for (unsigned int i = 0; i < m_numBytes; ++i) {
        if (letter > 'z') {
            letter = 'a';
        }
        getPayload()[i] = letter;
        ++letter;
    }
    if (print) {
        printPacket(os);
    }
}

} // namespace Tracewell
