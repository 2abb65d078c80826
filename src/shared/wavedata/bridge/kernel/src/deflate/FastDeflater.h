// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DeflateWriter.h"

#include <cstdint>
#include <vector>

namespace Tracewell {

/// Makes zlib streams of block images, byte for byte those of zlib's compress2 at level 1, in about
/// half the time. It can, since an image lies in one piece and is at most kLargest bytes long:
/// there is no window to slide, no input to wait for, and no output to hand out in parts.
///
/// The search is zlib's, and every detail of it shows in the bytes: a hash of three bytes with its
/// collisions, four places looked at, eight equal bytes are enough, the first place of the longest
/// match, the positions inside a match of more than four bytes not entered, and the first byte of
/// an image never found. Formats: RFC 1950 and RFC 1951. One thread at a time.
class FastDeflater
{
public:
    static constexpr unsigned int kLargest = 32768;

    FastDeflater();

    /// Makes the stream of an image of at most kLargest bytes.
    void compress(const char* image, unsigned int size);

    /// The last stream; valid until the next.
    const char* data() const { return m_writer.data(); }
    unsigned int size() const { return m_writer.size(); }

private:
    void load(const char* image, unsigned int size);

    std::vector<std::uint8_t> m_image;
    unsigned int m_size = 0;
    /// The latest position of each hash, and before each position the one with the same hash. Both
    /// count from m_base, so that what earlier images left, which is no larger, is no position.
    std::vector<std::uint16_t> m_heads;
    std::vector<std::uint16_t> m_links;
    unsigned int m_base = 0;
    DeflateWriter m_writer;
};

} // namespace Tracewell
