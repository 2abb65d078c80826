// SPDX-License-Identifier: BSD-3-Clause

#include "survey/BlockImage.h"

#include <zlib.h>

#include <new>
#include <utility>

namespace tracewell {

BlockImage::BlockImage(std::size_t blockSize)
    : m_stream(std::make_unique<z_stream_s>()), m_image(blockSize)
{
    if (inflateInit(m_stream.get()) != Z_OK) {
        throw std::bad_alloc();
    }
}

BlockImage::~BlockImage()
{
    inflateEnd(m_stream.get());
}

BlockImage::State BlockImage::unpack(const std::vector<unsigned char>& stored)
{
    inflateReset(m_stream.get());
    // zlib does not write to its input; the type is a leftover.
    m_stream->next_in = const_cast<unsigned char*>(stored.data());
    m_stream->avail_in = static_cast<uInt>(stored.size());
    m_stream->next_out = m_image.data();
    m_stream->avail_out = static_cast<uInt>(m_image.size());
    int result = inflate(m_stream.get(), Z_FINISH);
    const std::size_t before = std::exchange(m_unpacked, m_image.size() - m_stream->avail_out);
    // No more than the last block left there: clearing all of a large image for each of many tiny
    // blocks would take for ever.
    for (std::size_t i = m_unpacked; i < before; ++i) {
        m_image[i] = 0;
    }

    if (result == Z_BUF_ERROR && m_stream->avail_out == 0) {
        // The block is full; what must still follow is the check sum, and no further byte.
        unsigned char beyond = 0;
        m_stream->next_out = &beyond;
        m_stream->avail_out = 1;
        result = inflate(m_stream.get(), Z_FINISH);
        if (m_stream->avail_out == 0) {
            return State::TooLong;
        }
    }
    if (result == Z_BUF_ERROR || result == Z_OK) {
        return State::Cut;
    }
    if (result != Z_STREAM_END) {
        return State::Corrupt;
    }
    if (m_unpacked < m_image.size()) {
        return State::TooShort;
    }
    return m_stream->avail_in > 0 ? State::BytesBehind : State::Whole;
}

} // namespace tracewell
