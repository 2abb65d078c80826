// SPDX-License-Identifier: BSD-3-Clause

#include "StreamBlocks.h"

#include "DescriptorStreamBuffer.h"

#include <istream>

namespace Tracewell {

namespace {

/// Somebody may have read the stream to its end, which a transfer would take for a failure.
void forgetEndOfFile(std::basic_iostream<char>& stream)
{
    if (stream.eof()) {
        stream.clear(stream.rdstate() & ~std::ios_base::eofbit);
    }
}

/// The length of a stream of any kind; -1 when it cannot tell. Moves the get position.
long long findLength(std::streambuf& buffer)
{
    return std::streamoff(buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in));
}

} // namespace

long long appendBlock(std::basic_iostream<char>& stream, const char* data, unsigned long long size)
{
    forgetEndOfFile(stream);
    stream.seekp(0, std::ios_base::end);
    const long long handle = std::streamoff(stream.tellp());
    stream.write(data, static_cast<std::streamsize>(size));
    return handle;
}

void readBlock(std::basic_iostream<char>& stream, long long handle, char* out,
               unsigned long long size)
{
    forgetEndOfFile(stream);
    stream.seekg(handle, std::ios_base::beg);
    stream.read(out, static_cast<std::streamsize>(size));
}

void writeBlock(std::basic_iostream<char>& stream, long long handle, const char* data,
                unsigned long long size)
{
    forgetEndOfFile(stream);
    stream.seekp(handle, std::ios_base::beg);
    stream.write(data, static_cast<std::streamsize>(size));
}

bool streamContains(std::basic_iostream<char>& stream, long long handle, unsigned long long size)
{
    std::streambuf* const buffer = stream.rdbuf();
    if (!buffer || handle < 0) {
        return false;
    }
    if (auto* const descriptorBuffer = dynamic_cast<DescriptorStreamBuffer*>(buffer)) {
        return descriptorBuffer->contains(handle, size);
    }
    try {
        const long long length = findLength(*buffer);
        return handle <= length && size <= static_cast<unsigned long long>(length - handle);
    } catch (...) {
        return false;
    }
}

} // namespace Tracewell
