#include "WdbFileBlockManager.h"

#include "FatalError.h"
#include "StreamBlocks.h"

#include <boost/thread/lock_guard.hpp>

#include <istream>

namespace Tracewell {

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

} // namespace

WdbFileBlockManager::WdbFileBlockManager(std::basic_iostream<char>& stream) : m_stream(&stream)
{
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

long long WdbFileBlockManager::addBlock(const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    try {
        return appendBlock(*m_stream, data, size);
    } catch (...) {
        reportFatalError("WDB FATAL ERROR: failed to add file block (WdbFileBlockManager) for the "
                         "following reason: ");
    }
}

void WdbFileBlockManager::getBlock(long long handle, char* out, unsigned long long size) const
{
    const Lock lock(getMutex());
    try {
        readBlock(*m_stream, handle, out, size);
    } catch (...) {
        reportFatalError("WDB FATAL ERROR: failed to get file block (WdbFileBlockManager) for the "
                         "following reason: ");
    }
}

void WdbFileBlockManager::putBlock(long long handle, const char* data, unsigned long long size)
{
    const Lock lock(getMutex());
    try {
        writeBlock(*m_stream, handle, data, size);
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
    return streamContains(*m_stream, handle, size);
}

} // namespace Tracewell
