// SPDX-License-Identifier: BSD-3-Clause

#include "DescriptorStreamBuffer.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace Tracewell {

bool DescriptorStreamBuffer::open(const std::string& path, Mode mode)
{
    m_getPosition = m_putPosition = m_length = 0;
    m_writable = mode != Mode::Read;
    if (!m_file.open(path, mode)) {
        return false;
    }
    refreshLength();
    return true;
}

bool DescriptorStreamBuffer::close()
{
    m_getPosition = m_putPosition = m_length = 0;
    return m_file.close();
}

bool DescriptorStreamBuffer::contains(long long offset, unsigned long long size)
{
    if (fits(offset, size)) {
        return true;
    }
    if (m_writable || offset < 0) {
        return false;
    }
    refreshLength();
    return fits(offset, size);
}

long long DescriptorStreamBuffer::getLength()
{
    if (!m_writable) {
        refreshLength();
    }
    return m_length;
}

DescriptorStreamBuffer::pos_type DescriptorStreamBuffer::seekoff(off_type offset,
                                                                 std::ios_base::seekdir direction,
                                                                 std::ios_base::openmode which)
{
    long long base = 0;
    if (direction == std::ios_base::cur) {
        if ((which & std::ios_base::in) && (which & std::ios_base::out)) {
            return pos_type(off_type(-1));
        }
        base = (which & std::ios_base::in) ? m_getPosition : m_putPosition;
    } else if (direction == std::ios_base::end) {
        base = getLength();
    }
    if (offset > 0 && base > std::numeric_limits<long long>::max() - offset) {
        return pos_type(off_type(-1));
    }
    return seekTo(base + offset, which);
}

DescriptorStreamBuffer::pos_type DescriptorStreamBuffer::seekpos(pos_type position,
                                                                 std::ios_base::openmode which)
{
    return seekTo(static_cast<long long>(off_type(position)), which);
}

std::streamsize DescriptorStreamBuffer::xsgetn(char* out, std::streamsize size)
{
    if (size <= 0) {
        return 0;
    }
    const std::size_t moved = m_file.readAt(m_getPosition, out, static_cast<std::size_t>(size));
    m_getPosition += static_cast<long long>(moved);
    return static_cast<std::streamsize>(moved);
}

std::streamsize DescriptorStreamBuffer::xsputn(const char* data, std::streamsize size)
{
    if (size <= 0) {
        return 0;
    }
    if (!m_writable) {
        errno = EBADF;
        return 0;
    }
    const std::size_t moved = m_file.writeAt(m_putPosition, data, static_cast<std::size_t>(size));
    m_putPosition += static_cast<long long>(moved);
    m_length = std::max(m_length, m_putPosition);
    return static_cast<std::streamsize>(moved);
}

DescriptorStreamBuffer::int_type DescriptorStreamBuffer::underflow()
{
    char character;
    return m_file.readAt(m_getPosition, &character, 1) == 1 ? traits_type::to_int_type(character)
                                                            : traits_type::eof();
}

DescriptorStreamBuffer::int_type DescriptorStreamBuffer::uflow()
{
    char character;
    return xsgetn(&character, 1) == 1 ? traits_type::to_int_type(character) : traits_type::eof();
}

DescriptorStreamBuffer::int_type DescriptorStreamBuffer::pbackfail(int_type character)
{
    if (m_getPosition == 0) {
        return traits_type::eof();
    }
    --m_getPosition;
    const int_type previous = underflow();
    const bool any = traits_type::eq_int_type(character, traits_type::eof());
    if (!traits_type::eq_int_type(previous, traits_type::eof()) &&
        (any || traits_type::eq_int_type(character, previous))) {
        return previous;
    }
    ++m_getPosition;
    return traits_type::eof();
}

DescriptorStreamBuffer::int_type DescriptorStreamBuffer::overflow(int_type character)
{
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

bool DescriptorStreamBuffer::fits(long long offset, unsigned long long size) const
{
    return isOpen() && offset >= 0 && offset <= m_length &&
           size <= static_cast<unsigned long long>(m_length - offset);
}

void DescriptorStreamBuffer::refreshLength()
{
    m_length = m_file.isOpen() ? std::max(m_file.size(), 0LL) : 0;
}

DescriptorStreamBuffer::pos_type DescriptorStreamBuffer::seekTo(long long position,
                                                                std::ios_base::openmode which)
{
    if (!isOpen() || position < 0) {
        errno = isOpen() ? EINVAL : EBADF;
        return pos_type(off_type(-1));
    }
    if (which & std::ios_base::in) {
        m_getPosition = position;
    }
    if (which & std::ios_base::out) {
        m_putPosition = position;
    }
    return pos_type(off_type(position));
}

DescriptorStream::DescriptorStream() : std::basic_iostream<char>(nullptr)
{
    rdbuf(&m_buffer);
}

bool DescriptorStream::open(const std::string& path, DescriptorStreamBuffer::Mode mode)
{
    if (!m_buffer.open(path, mode)) {
        return false;
    }
    clear();
    return true;
}

} // namespace Tracewell
