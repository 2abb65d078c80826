// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <limits>

namespace Tracewell {

// Times may come from anywhere, so sums and distances of them stop at the ends of the scale.

inline long long saturatingAdd(long long left, long long right)
{
    long long sum;
    if (__builtin_add_overflow(left, right, &sum)) {
        return right > 0 ? std::numeric_limits<long long>::max()
                         : std::numeric_limits<long long>::min();
    }
    return sum;
}

inline long long saturatingSubtract(long long left, long long right)
{
    long long difference;
    if (__builtin_sub_overflow(left, right, &difference)) {
        return right < 0 ? std::numeric_limits<long long>::max()
                         : std::numeric_limits<long long>::min();
    }
    return difference;
}

} // namespace Tracewell
