#pragma once

namespace Tracewell {

/// Says on the standard error stream that an event database leaves a change out, since it has no
/// place for its address. Says it once: `isTold` is the database's own.
void tellAddressRefusal(bool& isTold, long long address);

/// Whether `length` bytes from `address` on have places in a block whose records count from `base`.
inline bool fitsIntoBlock(long long address, unsigned int length, long long base)
{
    constexpr unsigned long long kPlaces = 1ull << 32;
    const unsigned long long distance =
        static_cast<unsigned long long>(address) - static_cast<unsigned long long>(base);
    return distance < kPlaces && length <= kPlaces - distance;
}

} // namespace Tracewell
