// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <ostream>

namespace Tracewell {

/// The lines that the dumps of stored and of live events share. The stream's number format is left
/// as it was.
inline void dumpEventFields(std::ostream& os, long long time, long long address,
                            unsigned int length, const unsigned char* value)
{
    const std::ios_base::fmtflags flags = os.flags();
    os << std::dec << "  m_pTime = " << time << '\n'
       << "  m_pStartAddress = " << std::hex << address << '\n'
       << "  m_pLength = " << std::dec << length << '\n'
       << "  m_value = " << std::hex;
    for (unsigned int i = 0; i < length; ++i) {
        os << static_cast<unsigned int>(value[i]) << ' ';
    }
    os << '\n';
    os.flags(flags);
}

} // namespace Tracewell
