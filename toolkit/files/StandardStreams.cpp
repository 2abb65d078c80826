#include "files/StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tracewell {

void prepareStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) {
            continue;
        }
        // The lower ones are open, so this one takes the number.
        const int direction = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::open("/dev/null", direction) != stream && ::open("/", O_PATH) != stream) {
            std::_Exit(EXIT_FAILURE);
        }
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
