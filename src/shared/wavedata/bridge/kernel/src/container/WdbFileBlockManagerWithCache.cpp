// SPDX-License-Identifier: BSD-3-Clause

#include "WdbFileBlockManagerWithCache.h"

#include "BlockCopy.h"
#include "GuardedTransfer.h"
#include "StreamBlocks.h"

#include <istream>

namespace Tracewell {

WdbFileBlockManagerWithCache::WdbFileBlockManagerWithCache(std::basic_iostream<char>& stream,
                                                           unsigned long long capacity)
    : m_stream(&stream), m_cache(capacity)
{
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

long long WdbFileBlockManagerWithCache::addBlock(const char* data, unsigned long long size)
{
    return guardTransfer(*this,
                         "WDB FATAL ERROR: failed to add file block (WdbFileBlockManagerWithCache) "
                         "for the following reason: ",
                         [&] { return appendBlock(*m_stream, data, size); });
}

void WdbFileBlockManagerWithCache::getBlock(long long handle, char* out,
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
              "WDB FATAL ERROR: failed to get file block (WdbFileBlockManagerWithCache) "
              "for the following reason: ",
              out, size, [&] {
                  BlockCopy copy = makeBlockCopy(size);
                  readBlock(*m_stream, handle, copy.get(), size);
                  std::memcpy(out, copy.get(), size);
                  m_cache.add(handle, copy.get(), size);
                  // The cache owns it.
                  static_cast<void>(copy.release());
              });
}

void WdbFileBlockManagerWithCache::putBlock(long long handle, const char* data,
                                            unsigned long long size)
{
    guardTransfer(*this,
                  "WDB FATAL ERROR: failed to put file block (WdbFileBlockManagerWithCache) "
                  "for the following reason: ",
                  [&] {
                      writeBlock(*m_stream, handle, data, size);
                      if (!m_cache.get(handle)) {
                          return;
                      }
                      if (m_cache.getSize(handle) == size) {
                          m_cache.put(handle, makeBlockCopy(size, data).release());
                      } else {
                          m_cache.remove(handle);
                      }
                  });
}

void WdbFileBlockManagerWithCache::freeBlock(long long handle, unsigned long long size)
{
    m_freeList.putBlock(handle, size);
}

bool WdbFileBlockManagerWithCache::contains(long long handle, unsigned long long size) const
{
    return streamContains(*m_stream, handle, size);
}

void WdbFileBlockManagerWithCache::reset()
{
    m_cache.reset();
}

} // namespace Tracewell
