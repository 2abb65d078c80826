// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// Counts a change that an event database leaves out, since it has no place for its address, and
/// says so of the first on the standard error stream: `count` is the database's own.
void refuseAddress(unsigned long long& count, long long address);

/// Whether `length` bytes from `address` on have places in a block whose records count from `base`.
inline bool fitsIntoBlock(long long address, unsigned int length, long long base)
{
    constexpr unsigned long long kPlaces = 1ull << 32;
    const unsigned long long distance =
        static_cast<unsigned long long>(address) - static_cast<unsigned long long>(base);
    return distance < kPlaces && length <= kPlaces - distance;
}

} // namespace Tracewell
