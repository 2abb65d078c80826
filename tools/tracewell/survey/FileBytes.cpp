#include "survey/FileBytes.h"

#include "CommandError.h"

#include <fmt/format.h>

namespace tracewell {

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

} // namespace tracewell
