// SPDX-License-Identifier: BSD-3-Clause

#include "platform/DescriptorFile.h"

#include "platform/OwnDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tracewell {

static_assert(sizeof(off_t) == 8, "file offsets have 64 bits");

namespace {

constexpr mode_t kEveryone = 0666;
constexpr mode_t kOwner = 0600;
/// Systems cut or refuse single transfers at 2 GiB.
constexpr std::size_t kLargestTransfer = std::size_t{1} << 30;

int openDescriptor(const char* path, DescriptorFile::Mode mode)
{
    switch (mode) {
    case DescriptorFile::Mode::Read:
        return ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    case DescriptorFile::Mode::Create:
        return ::open(path, O_RDWR | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, kEveryone);
    case DescriptorFile::Mode::CreateExclusive:
        return ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwner);
    case DescriptorFile::Mode::Recreate:
        return ::open(path, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kOwner);
    }
    errno = EINVAL;
    return -1;
}

bool isDirectory(int descriptor)
{
    struct stat status;
    return ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

/// Repeats `step(done, size, place)` until everything is transferred. 0 from the step ends with
/// `errorAtZero`, -1 with the step's own error.
template <class Step>
std::size_t transfer(long long offset, std::size_t size, int errorAtZero, Step step)
{
    std::size_t done = 0;
    while (done < size) {
        const std::size_t piece = std::min(size - done, kLargestTransfer);
        const ssize_t moved = step(done, piece, offset + static_cast<long long>(done));
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved == 0) {
            errno = errorAtZero;
        }
        if (moved <= 0) {
            break;
        }
        done += static_cast<std::size_t>(moved);
    }
    return done;
}

} // namespace

DescriptorFile::DescriptorFile(DescriptorFile&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{}

DescriptorFile& DescriptorFile::operator=(DescriptorFile&& other) noexcept
{
    if (this != &other) {
        close();
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

DescriptorFile::~DescriptorFile()
{
    close();
}

bool DescriptorFile::open(const std::string& path, Mode mode)
{
    close();
    do {
        m_descriptor = openDescriptor(path.c_str(), mode);
    } while (m_descriptor < 0 && errno == EINTR);
    m_descriptor = ownDescriptor(m_descriptor);

    if (isOpen() && isDirectory(m_descriptor)) {
        close();
        errno = EISDIR;
    }
    return isOpen();
}

bool DescriptorFile::close()
{
    if (!isOpen()) {
        return true;
    }
    // The descriptor is gone even when close reports EINTR, so there is no second attempt.
    return ::close(std::exchange(m_descriptor, -1)) == 0 || errno == EINTR;
}

std::size_t DescriptorFile::readAt(long long offset, char* out, std::size_t size) const
{
    return transfer(offset, size, ENODATA, [&](std::size_t done, std::size_t piece, off_t place) {
        return ::pread(m_descriptor, out + done, piece, place);
    });
}

std::size_t DescriptorFile::writeAt(long long offset, const char* data, std::size_t size)
{
    return transfer(offset, size, EIO, [&](std::size_t done, std::size_t piece, off_t place) {
        return ::pwrite(m_descriptor, data + done, piece, place);
    });
}

long long DescriptorFile::size() const
{
    // The status tells 0 for a pipe, whose size nobody knows, and for a disk.
    return ::lseek(m_descriptor, 0, SEEK_END);
}

} // namespace Tracewell
