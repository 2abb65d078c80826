// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <memory>
#include <vector>

struct z_stream_s;

namespace tracewell {

/// Unpacks stored blocks, one after the other, into one buffer.
class BlockImage
{
public:
    enum class State {
        Whole,
        Cut,        ///< the stored bytes end before the stream does
        Corrupt,    ///< the stream is no zlib stream, or breaks off in nonsense
        TooLong,    ///< there is more than a block can hold
        TooShort,   ///< the stream ends before the block is full
        BytesBehind ///< whole, but stored bytes follow the end of the stream
    };

    explicit BlockImage(std::size_t blockSize);
    BlockImage(const BlockImage&) = delete;
    BlockImage& operator=(const BlockImage&) = delete;
    ~BlockImage();

    State unpack(const std::vector<unsigned char>& stored);
    const unsigned char* data() const { return m_image.data(); }
    /// Bytes that came out; the rest of the image is zero.
    std::size_t unpacked() const { return m_unpacked; }
    std::size_t blockSize() const { return m_image.size(); }

private:
    std::unique_ptr<z_stream_s> m_stream;
    std::vector<unsigned char> m_image;
    std::size_t m_unpacked = 0;
};

} // namespace tracewell
