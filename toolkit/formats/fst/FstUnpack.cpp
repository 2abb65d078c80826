// SPDX-License-Identifier: BSD-3-Clause

#include "formats/fst/FstUnpack.h"

#include <lz4.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

/// The most that a method makes of a byte.
constexpr std::size_t kZlibRatio = 1040;
constexpr std::size_t kLz4Ratio = 260;
constexpr std::size_t kFastLzRatio = 300;
constexpr std::size_t kLargest = std::numeric_limits<int>::max();

bool canHold(std::size_t size, std::size_t unpackedSize, std::size_t ratio)
{
    return size <= kLargest && unpackedSize <= kLargest && unpackedSize / ratio <= size + 64;
}

bool inflateAll(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                FstBytes& out, int windowBits)
{
    if (!canHold(size, unpackedSize, kZlibRatio)) {
        return false;
    }
    out.resize(unpackedSize);
    z_stream stream{};
    if (inflateInit2(&stream, windowBits) != Z_OK) {
        return false;
    }
    unsigned char nothing = 0;
    stream.next_in = const_cast<unsigned char*>(packed);
    stream.avail_in = static_cast<unsigned int>(size);
    stream.next_out = unpackedSize != 0 ? out.data() : &nothing;
    stream.avail_out = static_cast<unsigned int>(unpackedSize);
    const int result = inflate(&stream, Z_FINISH);
    const bool isAll = stream.total_out == unpackedSize &&
                       (result == Z_STREAM_END ||
                        (result == Z_BUF_ERROR && stream.avail_out == 0) || result == Z_OK);
    inflateEnd(&stream);
    return isAll;
}

} // namespace

bool unpackZlib(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                FstBytes& out)
{
    return inflateAll(packed, size, unpackedSize, out, MAX_WBITS);
}

bool unpackGzip(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                FstBytes& out)
{
    constexpr int kGzip = 16;
    return inflateAll(packed, size, unpackedSize, out, MAX_WBITS + kGzip);
}

bool unpackLz4(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
               FstBytes& out)
{
    if (!canHold(size, unpackedSize, kLz4Ratio)) {
        return false;
    }
    out.resize(unpackedSize);
    const int got = LZ4_decompress_safe(reinterpret_cast<const char*>(packed),
                                        reinterpret_cast<char*>(out.data()), static_cast<int>(size),
                                        static_cast<int>(unpackedSize));
    return got == static_cast<int>(unpackedSize);
}

/// A token of up to 31 literals, or a match of three bytes and more, up to 8,191 bytes back; level
/// 2 has longer matches, further back.
bool unpackFastLz(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                  FstBytes& out)
{
    constexpr unsigned int kLongMatch = 6;
    constexpr std::size_t kFar = 8191;
    if (size == 0 || !canHold(size, unpackedSize, kFastLzRatio)) {
        return size == 0 && unpackedSize == 0;
    }
    out.resize(unpackedSize);
    const unsigned char* at = packed;
    const unsigned char* const end = packed + size;
    const unsigned int level = *at >> 5;
    if (level > 1) {
        return false;
    }
    std::size_t made = 0;
    unsigned int control = *at++ & 31U;
    for (;;) {
        if (control < 32) {
            const std::size_t count = control + 1;
            if (count > static_cast<std::size_t>(end - at) || count > unpackedSize - made) {
                return false;
            }
            std::memcpy(out.data() + made, at, count);
            at += count;
            made += count;
        } else {
            std::size_t length = (control >> 5) - 1;
            std::size_t back = std::size_t{control & 31} << 8;
            if (length == kLongMatch) {
                unsigned char more = 0;
                do {
                    if (at == end) {
                        return false;
                    }
                    more = *at++;
                    length += more;
                } while (level == 1 && more == 255);
            }
            if (at == end) {
                return false;
            }
            const unsigned char low = *at++;
            back += low;
            if (level == 1 && low == 255 && back == kFar) {
                if (end - at < 2) {
                    return false;
                }
                back = kFar + (std::size_t{at[0]} << 8) + at[1];
                at += 2;
            }
            length += 3;
            ++back;
            if (back > made || length > unpackedSize - made) {
                return false;
            }
            // It may overlap what it makes.
            for (std::size_t i = 0; i < length; ++i, ++made) {
                out[made] = out[made - back];
            }
        }
        if (at == end) {
            return made == unpackedSize;
        }
        control = *at++;
    }
}

bool readSignedVarint(const unsigned char*& at, const unsigned char* end, long long& value)
{
    unsigned long long bits = 0;
    unsigned int shift = 0;
    while (at != end && shift < 64) {
        const unsigned char byte = *at++;
        bits |= static_cast<unsigned long long>(byte & 0x7f) << shift;
        shift += 7;
        if (byte < 0x80) {
            if ((byte & 0x40) != 0 && shift < 64) {
                bits |= ~0ULL << shift;
            }
            value = static_cast<long long>(bits);
            return true;
        }
    }
    return false;
}

} // namespace tracewell
