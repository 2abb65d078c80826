// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// Names one bit tree: an address and the bit's position in that byte.
struct TRACEWELL_API WdbAddressBitPair
{
    WdbAddressBitPair() = default;
    WdbAddressBitPair(long long address, unsigned int bit) : m_address(address), m_bit(bit) {}

    long long m_address = 0;
    unsigned int m_bit = 0xFFFFFFFFu;
};

} // namespace Tracewell
