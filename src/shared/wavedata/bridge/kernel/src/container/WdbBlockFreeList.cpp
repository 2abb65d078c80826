// SPDX-License-Identifier: BSD-3-Clause

#include "WdbBlockFreeList.h"

namespace Tracewell {

void WdbBlockFreeList::putBlock(long long handle, unsigned long long size)
{
    m_blocks.emplace(size, handle);
}

bool WdbBlockFreeList::getBlock(unsigned long long size, long long& handle)
{
    const auto block = m_blocks.lower_bound(size);
    if (block == m_blocks.end() || block->first != size) {
        return false;
    }
    handle = block->second;
    m_blocks.erase(block);
    return true;
}

} // namespace Tracewell
