// SPDX-License-Identifier: BSD-3-Clause

#include "files/OwnFile.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tracewell {

namespace {

int moveAboveStandard(int descriptor)
{
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return moved;
}

} // namespace

int openOwnFile(const std::string& path, int flags, mode_t mode)
{
    return openOwnFileAt(AT_FDCWD, path, flags, mode);
}

int openOwnFileAt(int directory, const std::string& name, int flags, mode_t mode)
{
    int descriptor;
    do {
        descriptor = ::openat(directory, name.c_str(), flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return moveAboveStandard(descriptor);
}

bool makeOwnPipe(int (&ends)[2])
{
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    for (int& end : ends) {
        end = moveAboveStandard(end);
    }
    if (ends[0] >= 0 && ends[1] >= 0) {
        return true;
    }
    const int error = errno;
    for (const int end : ends) {
        ::close(end);
    }
    errno = error;
    return false;
}

int writeWholeFile(const std::string& path, std::string_view text)
{
    const int descriptor = openOwnFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (descriptor < 0) {
        return errno;
    }
    int error = 0;
    while (!text.empty() && error == 0) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            error = written == 0 ? ENOSPC : errno;
        }
    }
    if (::close(descriptor) != 0 && error == 0) {
        error = errno;
    }
    return error;
}

std::string readWholeFile(const std::string& path)
{
    std::string text;
    const int descriptor = openOwnFile(path, O_RDONLY);
    char piece[16384];
    ssize_t got = descriptor < 0 ? 0 : 1;
    while (got != 0) {
        got = ::read(descriptor, piece, sizeof piece);
        if (got > 0) {
            text.append(piece, static_cast<std::size_t>(got));
        } else if (got < 0 && errno != EINTR) {
            got = 0;
        }
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return text;
}

} // namespace tracewell
