// SPDX-License-Identifier: BSD-3-Clause

#include "WdbCFileBlockManager.h"

namespace Tracewell {

namespace {

bool seek(std::FILE* file, long long handle)
{
    return file && std::fseek(file, static_cast<long>(handle), SEEK_SET) == 0;
}

} // namespace

long long WdbCFileBlockManager::addBlock(const char* data, unsigned long long size)
{
    if (!m_file || std::fseek(m_file, 0, SEEK_END) != 0) {
        return -1;
    }
    const long handle = std::ftell(m_file);
    std::fwrite(data, 1, size, m_file);
    return handle;
}

void WdbCFileBlockManager::getBlock(long long handle, char* out, unsigned long long size) const
{
    if (seek(m_file, handle)) {
        static_cast<void>(std::fread(out, 1, size, m_file) == size);
    }
}

void WdbCFileBlockManager::putBlock(long long handle, const char* data, unsigned long long size)
{
    if (seek(m_file, handle)) {
        std::fwrite(data, 1, size, m_file);
    }
}

void WdbCFileBlockManager::freeBlock(long long handle, unsigned long long size)
{
    m_freeList.putBlock(handle, size);
}

} // namespace Tracewell
