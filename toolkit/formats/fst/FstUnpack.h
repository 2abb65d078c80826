// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <vector>

namespace tracewell {

using FstBytes = std::vector<unsigned char>;

// Each unpacks `size` bytes into exactly `unpackedSize`; false for bytes that do not, and for a
// size that so few bytes cannot hold. Never reads or writes beyond.

bool unpackZlib(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                FstBytes& out);
bool unpackGzip(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                FstBytes& out);
bool unpackLz4(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
               FstBytes& out);
/// FastLZ, of both levels.
bool unpackFastLz(const unsigned char* packed, std::size_t size, std::size_t unpackedSize,
                  FstBytes& out);

/// The next number of seven bits a byte, the lowest first, of at most ten bytes; false when the
/// bytes end. `at` is moved behind it.
inline bool readVarint(const unsigned char*& at, const unsigned char* end,
                       unsigned long long& value)
{
    value = 0;
    for (unsigned int shift = 0; at != end && shift < 64; shift += 7) {
        const unsigned char byte = *at++;
        value |= static_cast<unsigned long long>(byte & 0x7f) << shift;
        if (byte < 0x80) {
            return true;
        }
    }
    return false;
}

/// The same with a sign, which is the highest bit of the last byte's seven.
bool readSignedVarint(const unsigned char*& at, const unsigned char* end, long long& value);

} // namespace tracewell
