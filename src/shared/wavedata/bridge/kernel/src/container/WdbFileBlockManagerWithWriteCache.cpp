// SPDX-License-Identifier: BSD-3-Clause

#include "WdbFileBlockManagerWithWriteCache.h"

#include "BlockCopy.h"
#include "GuardedTransfer.h"
#include "StreamBlocks.h"

#include <istream>

namespace Tracewell {

WdbFileBlockManagerWithWriteCache::WdbFileBlockManagerWithWriteCache(
    std::basic_iostream<char>& stream, unsigned long long capacity)
    : m_stream(&stream), m_cache(stream, capacity, this)
{
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

long long WdbFileBlockManagerWithWriteCache::addBlock(const char* data, unsigned long long size)
{
    return guardTransfer(*this,
                         "WDB FATAL ERROR: failed to add file block "
                         "(WdbFileBlockManagerWithWriteCache) for the following reason: ",
                         [&] {
                             const long long handle = appendBlock(*m_stream, data, size);
                             m_cache.add(handle, makeBlockCopy(size, data).release(), size, false);
                             return handle;
                         });
}

void WdbFileBlockManagerWithWriteCache::getBlock(long long handle, char* out,
                                                 unsigned long long size) const
{
    if (const void* const cached = m_cache.get(handle)) {
        if (m_cache.getSize(handle) == size) {
            std::memcpy(out, cached, size);
            return;
        }
        m_cache.remove(handle);
    }
    guardRead(*this,
              "WDB FATAL ERROR: failed to get file block "
              "(WdbFileBlockManagerWithWriteCache) for the following reason: ",
              out, size, [&] {
                  BlockCopy copy = makeBlockCopy(size);
                  readBlock(*m_stream, handle, copy.get(), size);
                  std::memcpy(out, copy.get(), size);
                  m_cache.add(handle, copy.get(), size, false);
                  // The cache owns it.
                  static_cast<void>(copy.release());
              });
}

void WdbFileBlockManagerWithWriteCache::putBlock(long long handle, const char* data,
                                                 unsigned long long size)
{
    const bool hasOtherSize = m_cache.get(handle) && m_cache.getSize(handle) != size;
    if (hasOtherSize) {
        m_cache.remove(handle);
    }
    m_cache.put(handle, makeBlockCopy(size, data).release(), size);
    if (hasOtherSize) {
        m_cache.remove(handle);
    }
}

void WdbFileBlockManagerWithWriteCache::freeBlock(long long handle, unsigned long long size)
{
    m_freeList.putBlock(handle, size);
}

bool WdbFileBlockManagerWithWriteCache::contains(long long handle, unsigned long long size) const
{
    return streamContains(*m_stream, handle, size);
}

void WdbFileBlockManagerWithWriteCache::sync()
{
    m_cache.flushDirtyItems();
}

void WdbFileBlockManagerWithWriteCache::reset()
{
    m_cache.reset();
}

} // namespace Tracewell
