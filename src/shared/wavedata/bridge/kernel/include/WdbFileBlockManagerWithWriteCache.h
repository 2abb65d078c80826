// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockFreeList.h"
#include "WdbIBlockManager.h"
#include "WdbLRUFileBlockCache.h"

#include <iosfwd>

namespace Tracewell {

/// Blocks in a binary stream behind a write-back cache, for blocks that are rewritten often: a new
/// block goes to the stream at once, a rewritten one when the cache needs its place, at reset, at
/// sync, or at the manager's end. Sets the stream's exception mask as WdbFileBlockManager does. A
/// block is expected to be read and written whole; another size than that in the cache brings the
/// copy to the stream, and goes there itself.
///
/// No lock. The owner serialises calls, also with those of other managers on the stream.
class TRACEWELL_API WdbFileBlockManagerWithWriteCache : public WdbIBlockManager
{
public:
    /// Keeps the last `capacity` blocks, those to be written too.
    WdbFileBlockManagerWithWriteCache(std::basic_iostream<char>& stream,
                                      unsigned long long capacity);

    long long addBlock(const char* data, unsigned long long size) override;
    void getBlock(long long handle, char* out, unsigned long long size) const override;
    void putBlock(long long handle, const char* data, unsigned long long size) override;
    void freeBlock(long long handle, unsigned long long size) override;
    bool contains(long long handle, unsigned long long size) const override;
    /// Writes what is dirty; the copies stay.
    void sync();
    /// Writes what is dirty and drops all copies.
    void reset();

private:
    std::basic_iostream<char>* m_stream;
    mutable WdbLRUFileBlockCache m_cache;
    WdbBlockFreeList m_freeList;
};

} // namespace Tracewell
