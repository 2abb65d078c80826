// SPDX-License-Identifier: BSD-3-Clause

#include "WdbFileBlockManager.h"

#include "GuardedTransfer.h"
#include "StreamBlocks.h"

#include <istream>

namespace Tracewell {

namespace {

using Lock = CheckedLock<boost::recursive_mutex>;

} // namespace

WdbFileBlockManager::WdbFileBlockManager(std::basic_iostream<char>& stream) : m_stream(&stream)
{
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

long long WdbFileBlockManager::addBlock(const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    std::basic_iostream<char>& stream = getStream();
    return guardTransfer(*this,
                         "WDB FATAL ERROR: failed to add file block (WdbFileBlockManager) for the "
                         "following reason: ",
                         [&] { return appendBlock(stream, data, size); });
}

void WdbFileBlockManager::getBlock(long long handle, char* out, unsigned long long size) const
{
    const Lock lock(getMutex());
    std::basic_iostream<char>& stream = getStream();
    guardRead(*this,
              "WDB FATAL ERROR: failed to get file block (WdbFileBlockManager) for the "
              "following reason: ",
              out, size, [&] { readBlock(stream, handle, out, size); });
}

void WdbFileBlockManager::putBlock(long long handle, const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    std::basic_iostream<char>& stream = getStream();
    guardTransfer(*this,
                  "WDB FATAL ERROR: failed to put file block (WdbFileBlockManager) for the "
                  "following reason: ",
                  [&] { writeBlock(stream, handle, data, size); });
}

void WdbFileBlockManager::freeBlock(long long handle, unsigned long long size)
{
    m_freeList.putBlock(handle, size);
}

bool WdbFileBlockManager::contains(long long handle, unsigned long long size) const
{
    const Lock lock(getMutex());
    return streamContains(getStream(), handle, size);
}

} // namespace Tracewell
