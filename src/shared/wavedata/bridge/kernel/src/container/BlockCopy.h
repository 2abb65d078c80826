// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace Tracewell {

struct FreeBlockCopy
{
    void operator()(void* memory) const { std::free(memory); }
};

/// Bytes from malloc on their way into a cache, which takes them over.
using BlockCopy = std::unique_ptr<char, FreeBlockCopy>;

inline BlockCopy makeBlockCopy(unsigned long long size, const char* data = nullptr)
{
    BlockCopy copy(static_cast<char*>(std::malloc(size != 0 ? size : 1)));
    if (!copy) {
        throw std::bad_alloc();
    }
    if (data) {
        std::memcpy(copy.get(), data, size);
    }
    return copy;
}

} // namespace Tracewell
