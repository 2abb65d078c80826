// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// How much memory a DataBase may hold before it moves data on, in bytes.
struct DataBaseLimits
{
    /// Open buffers of the objects.
    long long bufferBytes = 800'000'000;
    /// Compressed blocks that are not written yet.
    long long blockBytes = 10'000'000;
    /// Blocks read back from the file by a StoringReader; the other modes count them as blocks.
    long long readBackBytes = 100'000'000;
    /// Each block size may have so many blocks whatever the limits.
    unsigned int minBlocksPerSize = 512;
};

} // namespace Tracewell
