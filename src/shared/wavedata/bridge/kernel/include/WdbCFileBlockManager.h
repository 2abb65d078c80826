// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockFreeList.h"
#include "WdbIBlockManager.h"

#include <cstdio>

namespace Tracewell {

/// Blocks in a standard FILE that the caller owns. Takes no lock and reports no failure; a failed
/// read leaves the buffer as it was. Positions are `long`.
class TRACEWELL_API WdbCFileBlockManager : public WdbIBlockManager
{
public:
    void setFile(std::FILE* file) { m_file = file; }

    long long addBlock(const char* data, unsigned long long size) override;
    void getBlock(long long handle, char* out, unsigned long long size) const override;
    void putBlock(long long handle, const char* data, unsigned long long size) override;
    void freeBlock(long long handle, unsigned long long size) override;

private:
    std::FILE* m_file = nullptr;
    WdbBlockFreeList m_freeList;
};

} // namespace Tracewell
