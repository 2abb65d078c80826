// SPDX-License-Identifier: BSD-3-Clause

#include "formats/wdb/FileBytes.h"

#include "files/OwnFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr unsigned long long kWindowBytes = 8192;

} // namespace

FileBytes::FileBytes(const std::string& path)
    : m_path(path), m_descriptor(openOwnFile(path, O_RDONLY | O_NOCTTY))
{
    if (m_descriptor < 0 || !lookAgain()) {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        throw Failure(fmt::format("{}: cannot be opened; check its permissions", path));
    }
}

FileBytes::~FileBytes()
{
    ::close(m_descriptor);
}

bool FileBytes::lookAgain()
{
    const off_t size = ::lseek(m_descriptor, 0, SEEK_END);
    if (size <= m_size) {
        return false;
    }
    m_size = size;
    return true;
}

bool FileBytes::read(long long offset, void* out, unsigned long long size)
{
    if (!contains(offset, size)) {
        return false;
    }
    char* place = static_cast<char*>(out);
    for (unsigned long long left = size; left != 0;) {
        const ssize_t got = ::pread(m_descriptor, place, left, offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            throw Failure(fmt::format("{}: {} bytes at {} cannot be read; check the disk, and "
                                      "that nothing cuts the file short meanwhile",
                                      m_path, left, offset));
        }
        place += got;
        offset += got;
        left -= static_cast<unsigned long long>(got);
    }
    return true;
}

bool FileBytes::Window::read(long long offset, void* out, unsigned long long size)
{
    if (size > kWindowBytes || !m_file.contains(offset, size)) {
        return m_file.read(offset, out, size);
    }
    const auto end = m_start + static_cast<long long>(m_bytes.size());
    if (offset < m_start || offset + static_cast<long long>(size) > end) {
        m_bytes.resize(
            std::min(kWindowBytes, static_cast<unsigned long long>(m_file.size() - offset)));
        m_start = offset;
        m_file.read(offset, m_bytes.data(), m_bytes.size());
    }
    std::memcpy(out, m_bytes.data() + (offset - m_start), static_cast<std::size_t>(size));
    return true;
}

} // namespace tracewell
