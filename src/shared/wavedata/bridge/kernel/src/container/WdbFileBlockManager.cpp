#include "WdbFileBlockManager.h"

#include "DescriptorStreamBuffer.h"
#include "FatalError.h"

#include <boost/thread/lock_guard.hpp>

#include <istream>

namespace Tracewell {

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

/// Somebody may have read the stream to its end, which a transfer would take for a failure.
void forgetEndOfFile(std::basic_iostream<char>& stream)
{
    if (stream.eof())
        stream.clear(stream.rdstate() & ~std::ios_base::eofbit);
}

/// The length of a stream of any kind; -1 when it cannot tell. Moves the get position.
long long findLength(std::streambuf& buffer)
{
    return std::streamoff(buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in));
}

} // namespace

WdbFileBlockManager::WdbFileBlockManager(std::basic_iostream<char>& stream) : m_stream(&stream)
{
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

long long WdbFileBlockManager::addBlock(const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    try {
        forgetEndOfFile(*m_stream);
        m_stream->seekp(0, std::ios_base::end);
        const long long handle = std::streamoff(m_stream->tellp());
        m_stream->write(data, static_cast<std::streamsize>(size));
        return handle;
    } catch (...) {
        reportFatalError("WDB FATAL ERROR: failed to add file block (WdbFileBlockManager) for the "
                         "following reason: ");
    }
}

void WdbFileBlockManager::getBlock(long long handle, char* out, unsigned long long size) const
{
    const Lock lock(getMutex());
    try {
        forgetEndOfFile(*m_stream);
        m_stream->seekg(handle, std::ios_base::beg);
        m_stream->read(out, static_cast<std::streamsize>(size));
    } catch (...) {
        reportFatalError("WDB FATAL ERROR: failed to get file block (WdbFileBlockManager) for the "
                         "following reason: ");
    }
}

void WdbFileBlockManager::putBlock(long long handle, const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    try {
        forgetEndOfFile(*m_stream);
        m_stream->seekp(handle, std::ios_base::beg);
        m_stream->write(data, static_cast<std::streamsize>(size));
    } catch (...) {
        reportFatalError("WDB FATAL ERROR: failed to put file block (WdbFileBlockManager) for the "
                         "following reason: ");
    }
}

void WdbFileBlockManager::freeBlock(long long handle, unsigned long long size)
{
    m_freeList.putBlock(handle, size);
}

bool WdbFileBlockManager::contains(long long handle, unsigned long long size) const
{
    const Lock lock(getMutex());
    std::streambuf* const buffer = m_stream->rdbuf();
    if (!buffer || handle < 0)
        return false;
    if (auto* const descriptorBuffer = dynamic_cast<DescriptorStreamBuffer*>(buffer))
        return descriptorBuffer->contains(handle, size);
    try {
        const long long length = findLength(*buffer);
        return handle <= length && size <= static_cast<unsigned long long>(length - handle);
    } catch (...) {
        return false;
    }
}

} // namespace Tracewell
