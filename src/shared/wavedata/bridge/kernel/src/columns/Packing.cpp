// SPDX-License-Identifier: BSD-3-Clause

#include "Packing.h"

// The functions that it has are compiled in here.
#define XXH_INLINE_ALL
#include <xxhash.h>
#include <zstd.h>

#include <new>

namespace Tracewell {

namespace {

constexpr int kLevel = 3;
/// Shorter runs gain nothing.
constexpr std::size_t kWorthPacking = 24;

} // namespace

std::uint64_t checksumOf(const void* data, std::size_t size)
{
    return XXH3_64bits(data, size);
}

struct Packer::State
{
    State() : context(ZSTD_createCCtx())
    {
        if (!context) {
            throw std::bad_alloc();
        }
    }
    ~State() { ZSTD_freeCCtx(context); }

    ZSTD_CCtx* context;
};

Packer::Packer() : m_state(std::make_unique<State>()) {}

Packer::~Packer() = default;

Codec Packer::append(Bytes& out, const unsigned char* data, std::size_t size)
{
    const std::size_t begin = out.size();
    if (size >= kWorthPacking) {
        out.resize(begin + ZSTD_compressBound(size));
        const std::size_t packed = ZSTD_compressCCtx(m_state->context, out.data() + begin,
                                                     out.size() - begin, data, size, kLevel);
        if (!ZSTD_isError(packed) && packed < size) {
            out.resize(begin + packed);
            return Codec::Zstd;
        }
        out.resize(begin);
    }
    out.insert(out.end(), data, data + size);
    return Codec::Plain;
}

bool unpack(Codec codec, const unsigned char* data, std::size_t size, unsigned char* out,
            std::size_t rawSize)
{
    switch (codec) {
    case Codec::Plain:
        if (size == rawSize && size > 0) {
            std::memcpy(out, data, size);
        }
        return size == rawSize;
    case Codec::Zstd:
        return ZSTD_decompress(out, rawSize, data, size) == rawSize;
    }
    return false;
}

} // namespace Tracewell
