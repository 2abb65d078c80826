// SPDX-License-Identifier: BSD-3-Clause

#include "platform/Descriptor.h"

#include "platform/OwnDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tracewell {

int openDescriptor(const std::string& path, DescriptorUse use)
{
    // Reading does not wait for the other end of a pipe.
    const int flags = use == DescriptorUse::Read    ? O_RDONLY | O_NONBLOCK
                      : use == DescriptorUse::Write ? O_WRONLY | O_CREAT | O_TRUNC
                                                    : O_RDWR | O_CREAT;
    int descriptor;
    do {
        descriptor = ::open(path.c_str(), flags | O_CLOEXEC, S_IRUSR | S_IWUSR);
    } while (descriptor < 0 && errno == EINTR);
    descriptor = ownDescriptor(descriptor);
    struct stat status;
    if (descriptor >= 0 && (::fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode))) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

bool closeDescriptor(int descriptor)
{
    return ::close(descriptor) == 0;
}

bool commitDescriptor(int descriptor)
{
    // A pipe or a terminal has no disk to wait for.
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS;
}

long long descriptorSize(int descriptor)
{
    struct stat status;
    return ::fstat(descriptor, &status) == 0 ? static_cast<long long>(status.st_size) : -1;
}

long long seekDescriptor(int descriptor, long long offset, SeekFrom from)
{
    return ::lseek(descriptor, offset, from == SeekFrom::Start ? SEEK_SET : SEEK_CUR);
}

std::size_t readDescriptor(int descriptor, void* data, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(descriptor, static_cast<char*>(data) + done, size - done);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::size_t writeDescriptor(int descriptor, const void* data, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t put = ::write(descriptor, static_cast<const char*>(data) + done, size - done);
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            break;
        }
        done += static_cast<std::size_t>(put);
    }
    return done;
}

} // namespace Tracewell
