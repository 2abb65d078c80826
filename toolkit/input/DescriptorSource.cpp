// SPDX-License-Identifier: BSD-3-Clause

#include "input/DescriptorSource.h"

#include "files/OwnFile.h"
#include "files/StandardStreams.h"
#include "input/InputFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// How often `whileWaiting` runs while a pipe is silent.
constexpr int kPollMilliseconds = 50;

} // namespace

DescriptorSource::DescriptorSource(const std::string& path)
    : m_name(inputName(path)), m_ownsDescriptor(path != "-")
{
    m_descriptor = m_ownsDescriptor ? openOwnFile(path, O_RDONLY) : STDIN_FILENO;
    struct stat status;
    if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0) {
        throw Failure(fmt::format("{}: cannot be read: {}; check the name and its permissions",
                                  m_name, std::strerror(errno)));
    }
    if (path == "-" ? isClosedStream(m_descriptor) : leadsToClosedStream(path)) {
        throw Failure(fmt::format("{}: {}", m_name, kWhyClosedInput));
    }
    if (S_ISDIR(status.st_mode)) {
        throw Failure(fmt::format("{}: this is a directory; name a file in it", m_name));
    }
    if (S_ISREG(status.st_mode)) {
        m_size = static_cast<unsigned long long>(status.st_size);
        m_isRepeatable = m_ownsDescriptor;
    }
}

DescriptorSource::~DescriptorSource()
{
    if (m_ownsDescriptor && m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

std::size_t DescriptorSource::read(char* to, std::size_t room,
                                   const std::function<void()>& whileWaiting)
{
    for (;;) {
        if (whileWaiting) {
            whileWaiting();
            pollfd waiting{m_descriptor, POLLIN, 0};
            if (::poll(&waiting, 1, kPollMilliseconds) <= 0) {
                continue;
            }
        }
        const ssize_t got = ::read(m_descriptor, to, room);
        if (got >= 0) {
            m_position += static_cast<unsigned long long>(got);
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw Failure(fmt::format("{}: cannot be read on: {}; check the disk", m_name,
                                      std::strerror(errno)));
        }
    }
}

} // namespace tracewell
