#include "survey/FileBytes.h"

#include "CommandError.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

constexpr unsigned long long kWindowBytes = 8192;

} // namespace

FileBytes::FileBytes(const std::string& path) : m_path(path), m_file(path, std::ios::binary)
{
    m_file.seekg(0, std::ios::end);
    m_size = static_cast<long long>(m_file.tellg());
    if (!m_file || m_size < 0) {
        throw CommandError(fmt::format("{}: cannot be opened; check its permissions", path));
    }
}

bool FileBytes::lookAgain()
{
    m_file.seekg(0, std::ios::end);
    const auto size = static_cast<long long>(m_file.tellg());
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
    m_file.seekg(offset);
    m_file.read(static_cast<char*>(out), static_cast<std::streamsize>(size));
    if (!m_file) {
        throw CommandError(fmt::format("{}: {} bytes at {} cannot be read; check the disk, and "
                                       "that nothing cuts the file short meanwhile",
                                       m_path, size, offset));
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
