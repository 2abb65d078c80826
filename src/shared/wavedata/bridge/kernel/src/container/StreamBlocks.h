// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <iosfwd>

namespace Tracewell {

// Blocks in a binary stream, for the block managers over one. A failed transfer throws what the
// stream's exception mask says.

/// Writes behind everything else and answers where.
long long appendBlock(std::basic_iostream<char>& stream, const char* data, unsigned long long size);
void readBlock(std::basic_iostream<char>& stream, long long handle, char* out,
               unsigned long long size);
void writeBlock(std::basic_iostream<char>& stream, long long handle, const char* data,
                unsigned long long size);
/// Whether the bytes lie in the stream. False when the stream cannot tell its length. Never throws.
bool streamContains(std::basic_iostream<char>& stream, long long handle, unsigned long long size);

} // namespace Tracewell
