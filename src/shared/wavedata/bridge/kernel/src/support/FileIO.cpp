// SPDX-License-Identifier: BSD-3-Clause

#include "FileIO.h"

#include "platform/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace Tracewell {

FileIO::~FileIO()
{
    close();
}

bool FileIO::open(const std::string& name, SerialModes mode)
{
    close();
    m_error = 0;
    if (mode == None || name.empty()) {
        m_error = EINVAL;
        return false;
    }
    m_mode = mode;
    m_name = name;
    errno = 0;
    m_descriptor = openDescriptor(name, mode == Read    ? DescriptorUse::Read
                                        : mode == Write ? DescriptorUse::Write
                                                        : DescriptorUse::ReadWrite);
    return note(isOpen());
}

/// Gives the answer back, and remembers the first failure. A system that gives no reason for a
/// short transfer has no room.
bool FileIO::note(bool isDone)
{
    if (!isDone && m_error == 0) {
        m_error = errno != 0 ? errno : ENOSPC;
    }
    return isDone;
}

bool FileIO::reopen()
{
    if (m_mode != Write) {
        return false;
    }
    const std::string name = m_name;
    return open(name, Write);
}

bool FileIO::close()
{
    if (!isOpen()) {
        return true;
    }
    const bool committed = m_mode != Write || note(commitDescriptor(m_descriptor));
    const bool closed = note(closeDescriptor(m_descriptor));
    m_descriptor = -1;
    return committed && closed;
}

bool FileIO::flush()
{
    return !isOpen() || m_mode == Read || note(commitDescriptor(m_descriptor));
}

long long FileIO::getFileSize() const
{
    return isOpen() && m_mode == Read ? descriptorSize(m_descriptor) : -1;
}

bool FileIO::isEOF() const
{
    return !isOpen() || getOffset() >= descriptorSize(m_descriptor);
}

long long FileIO::getOffset() const
{
    return isOpen() ? seekDescriptor(m_descriptor, 0, SeekFrom::Position) : InvalidOffset;
}

bool FileIO::setOffset(long long offset)
{
    return offset >= 0 && isOpen() &&
           seekDescriptor(m_descriptor, offset, SeekFrom::Start) == offset;
}

bool FileIO::skipBytes(long long count)
{
    const long long before = getOffset();
    return before >= 0 && count >= -before &&
           count <= std::numeric_limits<long long>::max() - before &&
           seekDescriptor(m_descriptor, count, SeekFrom::Position) == before + count;
}

bool FileIO::readData(void* data, unsigned int size)
{
    return isOpen() && readDescriptor(m_descriptor, data, size) == size;
}

bool FileIO::writeData(const void* data, unsigned int size)
{
    errno = isOpen() ? 0 : EBADF;
    return note(isOpen() && writeDescriptor(m_descriptor, data, size) == size);
}

bool FileIO::readEndianData(void* data, unsigned int size)
{
    if (!data || !readData(data, size)) {
        return false;
    }
    if (m_invertEndianness) {
        std::reverse(static_cast<char*>(data), static_cast<char*>(data) + size);
    }
    return true;
}

bool FileIO::readText(std::string& text, unsigned int length)
{
    // Piece by piece: a length that a damaged file states is not worth an allocation.
    constexpr unsigned int kPiece = 65536;
    char piece[kPiece];
    unsigned int left = length;
    while (left > 0) {
        const unsigned int wanted = std::min(left, kPiece);
        const std::size_t got = isOpen() ? readDescriptor(m_descriptor, piece, wanted) : 0;
        text.append(piece, got);
        left -= static_cast<unsigned int>(got);
        if (got < wanted) {
            break;
        }
    }
    text.resize(std::min(text.find('\0'), text.size()));
    return left == 0;
}

bool FileIO::readString(std::string& text)
{
    text.clear();
    unsigned int length = 0;
    if (!readUInt32(length) || length == std::numeric_limits<unsigned int>::max()) {
        return false;
    }
    return readText(text, length);
}

bool FileIO::readShortString(std::string& text)
{
    text.clear();
    unsigned short length = 0;
    return readUInt16(length) && readText(text, length);
}

bool FileIO::writeString(const std::string& text)
{
    const auto length = static_cast<unsigned int>(text.size());
    return writeUInt32(length) && writeData(text.data(), length);
}

bool FileIO::writeShortString(const std::string& text)
{
    const auto length = static_cast<unsigned short>(text.size());
    return writeUInt16(length) && writeData(text.data(), length);
}

unsigned int FileIO::diskStringSize(const std::string& text)
{
    return static_cast<unsigned int>(text.size() + sizeof(unsigned int));
}

unsigned int FileIO::diskShortStringSize(const std::string& text)
{
    return static_cast<unsigned int>(text.size() + sizeof(unsigned short));
}

} // namespace Tracewell
