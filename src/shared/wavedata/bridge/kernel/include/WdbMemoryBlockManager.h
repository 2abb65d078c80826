// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"

namespace Tracewell {

/// Blocks on the heap; a handle is the block's address. Handles are trusted. Blocks that were not
/// freed stay allocated when the manager goes.
class TRACEWELL_API WdbMemoryBlockManager : public WdbIBlockManager
{
public:
    long long addBlock(const char* data, unsigned long long size) override;
    void getBlock(long long handle, char* out, unsigned long long size) const override;
    void putBlock(long long handle, const char* data, unsigned long long size) override;
    void freeBlock(long long handle, unsigned long long size) override;
};

} // namespace Tracewell
