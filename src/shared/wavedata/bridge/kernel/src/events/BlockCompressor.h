#pragma once

#include <zlib.h>

#include <vector>

namespace Tracewell {

/// Makes the stored form of block images: the zlib stream that compress2 gives at level 1, from a
/// state that is made once and reset for each image. One thread at a time.
class BlockCompressor
{
public:
    static constexpr int kLevel = 1;

    BlockCompressor();
    BlockCompressor(const BlockCompressor&) = delete;
    BlockCompressor& operator=(const BlockCompressor&) = delete;
    ~BlockCompressor();

    /// Compresses `size` bytes into a buffer of the same size. False when the stream does not fit;
    /// then it is cut at the buffer's end.
    bool compress(const char* image, unsigned int size);

    /// The stream of the last image; valid until the next.
    const char* data() const { return m_out.data(); }
    unsigned int size() const { return m_size; }

private:
    z_stream m_stream{};
    std::vector<char> m_out;
    unsigned int m_size = 0;
};

/// zlib's compress2 at the same level into a buffer of the image's size.
std::vector<char> compressOnce(const char* image, unsigned int size);

} // namespace Tracewell
