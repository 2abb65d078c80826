// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "FastDeflater.h"

#include <vector>

namespace Tracewell {

/// Makes the stored form of block images: the zlib stream that compress2 gives at level 1. Images
/// of the usual sizes take a shorter way to the same bytes. One thread at a time.
class ImageCompressor
{
public:
    static constexpr int kLevel = 1;

    /// Compresses `size` bytes into a buffer of the same size. False when the stream does not fit;
    /// then it is cut at the buffer's end.
    bool compress(const char* image, unsigned int size);

    /// The stream of the last image; valid until the next.
    const char* data() const { return m_data; }
    unsigned int size() const { return m_size; }

private:
    FastDeflater m_deflater;
    /// For an image that is too large for the deflater, or a stream that has to be cut.
    std::vector<char> m_out;
    const char* m_data = nullptr;
    unsigned int m_size = 0;
};

} // namespace Tracewell
