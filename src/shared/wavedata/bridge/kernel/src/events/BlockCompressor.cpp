#include "BlockCompressor.h"

#include <new>

namespace Tracewell {

namespace {

/// zlib takes input through pointers to non-const bytes and does not write to them.
Bytef* toBytes(const char* data)
{
    return reinterpret_cast<Bytef*>(const_cast<char*>(data));
}

} // namespace

BlockCompressor::BlockCompressor()
{
    if (deflateInit(&m_stream, kLevel) != Z_OK)
        throw std::bad_alloc();
}

BlockCompressor::~BlockCompressor()
{
    deflateEnd(&m_stream);
}

bool BlockCompressor::compress(const char* image, unsigned int size)
{
    if (m_out.size() < size)
        m_out.resize(size);
    deflateReset(&m_stream);
    m_stream.next_in = toBytes(image);
    m_stream.avail_in = size;
    m_stream.next_out = toBytes(m_out.data());
    m_stream.avail_out = size;
    const int result = deflate(&m_stream, Z_FINISH);
    m_size = size - m_stream.avail_out;
    return result == Z_STREAM_END;
}

std::vector<char> compressOnce(const char* image, unsigned int size)
{
    std::vector<char> out(size);
    uLongf length = size;
    compress2(toBytes(out.data()), &length, toBytes(image), size, BlockCompressor::kLevel);
    out.resize(length);
    return out;
}

} // namespace Tracewell
