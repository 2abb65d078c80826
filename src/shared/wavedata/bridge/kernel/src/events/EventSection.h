// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbEventDatabaseHeader.h"

namespace Tracewell {

class WdbIBlockManager;

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
