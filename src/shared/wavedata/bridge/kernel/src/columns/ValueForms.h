// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnFormat.h"

namespace Tracewell {

/// A difference with its sign in bit 0, so that small ones have few bytes whichever way they go.
inline std::uint64_t foldSign(std::uint64_t difference)
{
    return difference << 1 ^ (0 - (difference >> 63));
}
inline std::uint64_t unfoldSign(std::uint64_t folded)
{
    return folded >> 1 ^ (0 - (folded & 1));
}

/// How many bytes are not 0.
inline unsigned int bytesSet(std::uint64_t value)
{
    constexpr std::uint64_t kSeven = 0x7F7F7F7F7F7F7F7F;
    const std::uint64_t high = ((value & kSeven) + kSeven) | value;
    return static_cast<unsigned int>(__builtin_popcountll(high & ~kSeven));
}

/// Fills in what each value but the first comes to in that form, one of those by planes; `out[0]`
/// is left alone. All bits that are set in any of them.
inline std::uint64_t takeDifferences(ValueForm form, const std::uint64_t* values,
                                     std::uint32_t count, std::uint64_t* out)
{
    std::uint64_t set = 0;
    for (std::uint32_t i = 1; i < count; ++i) {
        std::uint64_t value = values[i];
        if (form == ValueForm::Xor) {
            value ^= values[i - 1];
        } else if (form == ValueForm::Difference) {
            value = foldSign(value - values[i - 1]);
        }
        out[i] = value;
        set |= value;
    }
    return set;
}

/// The other way round, in place; values[0] is what it is.
inline void addDifferences(ValueForm form, std::uint64_t* values, std::uint32_t count)
{
    for (std::uint32_t i = 1; i < count; ++i) {
        if (form == ValueForm::Xor) {
            values[i] ^= values[i - 1];
        } else if (form == ValueForm::Difference) {
            values[i] = values[i - 1] + unfoldSign(values[i]);
        }
    }
}

} // namespace Tracewell
