// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// `bytes` addresses behind `address`; wraps instead of overflowing.
inline long long advanceAddress(long long address, unsigned long long bytes)
{
    return static_cast<long long>(static_cast<unsigned long long>(address) + bytes);
}

/// A time that comes as start and length; wraps instead of overflowing.
inline long long addTimes(long long start, long long length)
{
    return static_cast<long long>(static_cast<unsigned long long>(start) +
                                  static_cast<unsigned long long>(length));
}

} // namespace Tracewell
