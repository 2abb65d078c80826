// SPDX-License-Identifier: BSD-3-Clause

#include "platform/OwnDescriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Tracewell {

int ownDescriptor(int descriptor)
{
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return own;
}

} // namespace Tracewell
