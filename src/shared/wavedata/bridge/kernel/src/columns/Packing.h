// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "ColumnFormat.h"

#include <memory>

namespace Tracewell {

std::uint64_t checksumOf(const void* data, std::size_t size);

/// Compresses runs of bytes, one after the other.
class Packer
{
public:
    Packer();
    ~Packer();

    /// Appends `size` bytes, packed where that is shorter. Their codec.
    Codec append(Bytes& out, const unsigned char* data, std::size_t size);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// The other way round. False when the bytes do not make `rawSize` ones exactly.
bool unpack(Codec codec, const unsigned char* data, std::size_t size, unsigned char* out,
            std::size_t rawSize);

} // namespace Tracewell
