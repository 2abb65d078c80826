// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockFreeList.h"
#include "WdbIBlockManager.h"
#include "WdbLRUCache.h"

#include <iosfwd>

namespace Tracewell {

/// Blocks in a binary stream behind a read cache: what is written goes to the stream at once. Sets
/// the stream's exception mask as WdbFileBlockManager does. A block is expected to be read and
/// written whole; another size than that in the cache goes to the stream and drops the copy.
///
/// No lock. The owner serialises calls, also with those of other managers on the stream.
class TRACEWELL_API WdbFileBlockManagerWithCache : public WdbIBlockManager
{
public:
    /// Keeps copies of the last `capacity` blocks that were read.
    WdbFileBlockManagerWithCache(std::basic_iostream<char>& stream, unsigned long long capacity);

    long long addBlock(const char* data, unsigned long long size) override;
    void getBlock(long long handle, char* out, unsigned long long size) const override;
    void putBlock(long long handle, const char* data, unsigned long long size) override;
    void freeBlock(long long handle, unsigned long long size) override;
    bool contains(long long handle, unsigned long long size) const override;
    /// Drops all copies, so that blocks are read from the file again.
    void reset();

private:
    std::basic_iostream<char>* m_stream;
    mutable WdbLRUCache m_cache;
    WdbBlockFreeList m_freeList;
};

} // namespace Tracewell
