// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <map>

namespace Tracewell {

/// Remembers freed blocks by their size. Bookkeeping only: the block managers record here and
/// never reuse, so files only grow.
class TRACEWELL_API WdbBlockFreeList
{
public:
    /// Records a block behind all others of its size.
    void putBlock(long long handle, unsigned long long size);
    /// Takes out the oldest block of exactly `size` bytes; false when there is none.
    bool getBlock(unsigned long long size, long long& handle);

private:
    std::multimap<unsigned long long, long long> m_blocks;
};

} // namespace Tracewell
