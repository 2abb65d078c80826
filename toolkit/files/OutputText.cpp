// SPDX-License-Identifier: BSD-3-Clause

#include "files/OutputText.h"

#include "files/Interrupt.h"
#include "files/OwnFile.h"
#include "files/StandardStreams.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr std::size_t kLarge = 256 * 1024;

} // namespace

OutputText::OutputText(const std::string& name, const std::string& input)
    : m_file(name, OutputKind::Any, input), m_isFile(name != "-")
{
    m_file.start();
    m_descriptor =
        m_isFile ? openOwnFile(m_file.path(), O_WRONLY | O_CREAT | O_TRUNC) : STDOUT_FILENO;
    if (m_descriptor < 0) {
        const int error = errno;
        m_file.keep();
        throw Failure(fmt::format("{}: cannot be created: {}; check the place and its permissions",
                                  name, std::strerror(error)));
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

std::string OutputText::finish(bool isWhole)
{
    flush();
    if (m_isFile) {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        if (::close(descriptor) != 0) {
            fail(errno);
        }
    }
    return m_file.finish(isWhole);
}

void OutputText::flush()
{
    if (const int error = writeAll(m_descriptor, m_text.data(), m_text.size())) {
        fail(error);
    }
    m_text.clear();
}

void OutputText::fail(int error) const
{
    if (!m_isFile && error == EPIPE) {
        InterruptGuard::endByClosedPipe();
    }
    const char* const remedy = error == EBADF   ? "name a file for it"
                               : error == EPIPE ? "let its reader take all of it"
                                                : "make room or name another place";
    throw Failure(fmt::format("{}: cannot be written: {}; the output was given up, {}",
                              m_isFile ? m_file.name() : "standard output", std::strerror(error),
                              remedy));
}

} // namespace tracewell
