// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMemoryBlockManager.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace Tracewell {

namespace {

using Lock = CheckedLock<boost::recursive_mutex>;

char* toAddress(long long handle)
{
    return reinterpret_cast<char*>(handle);
}

} // namespace

long long WdbMemoryBlockManager::addBlock(const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    // An empty block has an address of its own, too.
    void* const block = std::malloc(size > 0 ? size : 1);
    if (!block) {
        throw std::bad_alloc();
    }
    if (size > 0) {
        std::memcpy(block, data, size);
    }
    return reinterpret_cast<long long>(block);
}

void WdbMemoryBlockManager::getBlock(long long handle, char* out, unsigned long long size) const
{
    const Lock lock(getMutex());
    if (size > 0) {
        std::memcpy(out, toAddress(handle), size);
    }
}

void WdbMemoryBlockManager::putBlock(long long handle, const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    if (size > 0) {
        std::memcpy(toAddress(handle), data, size);
    }
}

void WdbMemoryBlockManager::freeBlock(long long handle, unsigned long long /*size*/)
{
    const Lock lock(getMutex());
    std::free(toAddress(handle));
}

} // namespace Tracewell
