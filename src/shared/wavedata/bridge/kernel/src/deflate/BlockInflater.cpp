// SPDX-License-Identifier: BSD-3-Clause

#include "BlockInflater.h"

#include "WdbIBlockManager.h"

#include <libdeflate.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace Tracewell {

namespace {

/// Larger outputs than this are not cleared behind a damaged stream, so they are zlib's alone.
constexpr unsigned int kFastLimit = 1u << 20;

struct FreeDecompressor
{
    void operator()(libdeflate_decompressor* decompressor) const
    {
        libdeflate_free_decompressor(decompressor);
    }
};

/// Inflate states and an input buffer that outlive the single block. libdeflate takes half of
/// zlib's time for a sound stream; a stream that it refuses goes to zlib, which gives what came
/// before the damage.
class Inflater
{
public:
    Inflater() : m_fast(libdeflate_alloc_decompressor())
    {
        if (inflateInit(&m_stream) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() { inflateEnd(&m_stream); }

    char* prepareInput(unsigned int size)
    {
        if (m_in.size() < size) {
            m_in.resize(size);
        }
        return m_in.data();
    }

    unsigned int inflateInput(unsigned int size, char* out, unsigned int limit, bool& isWhole)
    {
        if (!m_fast || limit > kFastLimit) {
            return inflateSlowly(size, out, limit, isWhole);
        }
        std::size_t count = 0;
        isWhole = libdeflate_zlib_decompress(m_fast.get(), m_in.data(), size, out, limit, &count) ==
                  LIBDEFLATE_SUCCESS;
        if (!isWhole) {
            count = inflateSlowly(size, out, limit, isWhole);
        }
        isWhole = isWhole && count == limit;
        // Both may have written more than they answer for.
        std::memset(out + count, 0, limit - count);
        return static_cast<unsigned int>(count);
    }

private:
    unsigned int inflateSlowly(unsigned int size, char* out, unsigned int limit, bool& isWhole)
    {
        inflateReset(&m_stream);
        m_stream.next_in = reinterpret_cast<Bytef*>(m_in.data());
        m_stream.avail_in = size;
        m_stream.next_out = reinterpret_cast<Bytef*>(out);
        m_stream.avail_out = limit;
        isWhole = inflate(&m_stream, Z_FINISH) == Z_STREAM_END && m_stream.avail_out == 0;
        return limit - m_stream.avail_out;
    }

    z_stream m_stream{};
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> m_fast;
    std::vector<char> m_in;
};

} // namespace

unsigned int inflateBlock(const WdbIBlockManager& manager, long long handle,
                          unsigned int storedSize, char* out, unsigned int limit, bool& isWhole)
{
    isWhole = false;
    if (storedSize == 0 || !manager.contains(handle, storedSize)) {
        return 0;
    }
    static thread_local Inflater inflater;
    manager.getBlock(handle, inflater.prepareInput(storedSize), storedSize);
    return inflater.inflateInput(storedSize, out, limit, isWhole);
}

} // namespace Tracewell
