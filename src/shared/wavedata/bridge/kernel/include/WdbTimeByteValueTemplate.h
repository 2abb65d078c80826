// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// N times and the byte that holds from each, as they lie in a stored record. Left uninitialised.
template <unsigned int N> struct WdbTimeByteValueTemplate
{
    long long times[N];
    unsigned char values[N];
};

} // namespace Tracewell
