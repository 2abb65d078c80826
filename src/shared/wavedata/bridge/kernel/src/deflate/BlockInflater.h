// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

class WdbIBlockManager;

/// Reads the zlib stream of `storedSize` bytes at `handle` and inflates it into `out`, at most
/// `limit` bytes. Answers how many came out: a stream that is cut or damaged counts as far as it
/// goes, and a place outside the storage gives none. What lies behind may be overwritten with
/// zeros. State and input buffer are the calling thread's own and reused. `isWhole` becomes whether
/// the stream is sound and gives `limit` bytes.
unsigned int inflateBlock(const WdbIBlockManager& manager, long long handle,
                          unsigned int storedSize, char* out, unsigned int limit, bool& isWhole);

} // namespace Tracewell
