// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbBlockFreeList.h"
#include "WdbIBlockManager.h"

#include <iosfwd>

namespace Tracewell {

/// Blocks in a binary stream that the caller owns; a handle is a byte offset. The constructor sets
/// the stream's exception mask to its bad and fail states. add, get, put and contains hold the
/// mutex, since a seek and a transfer must stay together.
class TRACEWELL_API WdbFileBlockManager : public WdbIBlockManager
{
public:
    explicit WdbFileBlockManager(std::basic_iostream<char>& stream);

    long long addBlock(const char* data, unsigned long long size) override;
    void getBlock(long long handle, char* out, unsigned long long size) const override;
    void putBlock(long long handle, const char* data, unsigned long long size) override;
    void freeBlock(long long handle, unsigned long long size) override;
    bool contains(long long handle, unsigned long long size) const override;

private:
    std::basic_iostream<char>& getStream() const TRACEWELL_REQUIRES(getMutex())
    {
        return *m_stream;
    }

    std::basic_iostream<char>* m_stream TRACEWELL_PT_GUARDED_BY(getMutex());
    WdbBlockFreeList m_freeList;
};

} // namespace Tracewell
