#include "files/OutputText.h"

#include "CommandError.h"
#include "files/OwnFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr std::size_t kLarge = 256 * 1024;

} // namespace

OutputText::OutputText(const std::string& path)
    : m_name(path == "-" ? "standard output" : path), m_isFile(path != "-")
{
    m_descriptor = m_isFile ? openOwnFile(path, O_WRONLY | O_CREAT | O_TRUNC) : STDOUT_FILENO;
    if (m_descriptor < 0) {
        throw CommandError(
            fmt::format("{}: cannot be created: {}; check the place and its permissions", m_name,
                        std::strerror(errno)));
    }
}

OutputText::~OutputText()
{
    if (m_isFile && m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

bool OutputText::flushWhenLarge()
{
    if (m_text.size() < kLarge) {
        return false;
    }
    flush();
    return true;
}

void OutputText::finish()
{
    flush();
    if (m_isFile) {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        if (::close(descriptor) != 0) {
            fail(errno);
        }
    }
}

void OutputText::flush()
{
    std::size_t done = 0;
    while (done < m_text.size()) {
        const ssize_t written = ::write(m_descriptor, m_text.data() + done, m_text.size() - done);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno);
        }
        done += static_cast<std::size_t>(written);
    }
    m_text.clear();
}

void OutputText::fail(int error) const
{
    throw CommandError(fmt::format(
        "{}: cannot be written: {}; the output was given up, make room or name another place",
        m_name, std::strerror(error)));
}

} // namespace tracewell
