// SPDX-License-Identifier: BSD-3-Clause

#include "files/StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

bool s_hasClosed = false;

} // namespace

bool leadsToClosedStream(const std::string& path)
{
    struct stat link;
    struct stat place;
    struct stat root;
    return s_hasClosed && ::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode) &&
           ::stat(path.c_str(), &place) == 0 && ::stat("/", &root) == 0 &&
           place.st_dev == root.st_dev && place.st_ino == root.st_ino;
}

bool isClosedStream(int stream)
{
    return s_hasClosed && (::fcntl(stream, F_GETFL) & O_PATH) != 0;
}

void prepareStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) {
            continue;
        }
        // The lower ones are open, so this one takes the number. A directory is what no path of the
        // descriptor, as /dev/stdout is one, can be opened by and read or written.
        if (::open("/", O_PATH) != stream) {
            std::_Exit(EXIT_FAILURE);
        }
        s_hasClosed = true;
    }
    std::signal(SIGXFSZ, SIG_IGN);
    // Lives as long as the stream.
    std::cout.rdbuf(new DescriptorBuffer(STDOUT_FILENO));
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type c)
{
    const char byte = traits_type::to_char_type(c);
    return xsputn(&byte, 1) == 1 ? traits_type::not_eof(c) : traits_type::eof();
}

std::streamsize DescriptorBuffer::xsputn(const char* text, std::streamsize size)
{
    errno = writeAll(m_descriptor, text, static_cast<std::size_t>(size));
    return errno == 0 ? size : 0;
}

int writeAll(int descriptor, const char* bytes, std::size_t size)
{
    while (size != 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written >= 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN) {
            pollfd room = {descriptor, POLLOUT, 0};
            ::poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace tracewell
