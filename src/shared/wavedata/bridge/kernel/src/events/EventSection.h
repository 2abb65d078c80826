#pragma once

#include "WdbEventDatabaseHeader.h"

namespace Tracewell {

class WdbIBlockManager;

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

/// Reads the header at `offset` and holds it against the storage: the record and the bucket table
/// must lie in it, and the block size must be one that its length can explain.
/// \throws Qsim::OpenException
WdbEventDatabaseHeader readEventDatabaseHeader(const WdbIBlockManager& manager, long long offset,
                                               bool forWriting);
void writeEventDatabaseHeader(WdbIBlockManager& manager, long long offset,
                              const WdbEventDatabaseHeader& header);
void writeLatestTime(WdbIBlockManager& manager, long long headerOffset, long long time);

[[noreturn]] void throwDamagedSection(const char* message);

} // namespace Tracewell
