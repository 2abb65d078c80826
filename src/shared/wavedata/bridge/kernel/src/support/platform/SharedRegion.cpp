// SPDX-License-Identifier: BSD-3-Clause

#include "platform/SharedRegion.h"

#include "platform/OwnDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tracewell {

namespace {

/// The system takes names of up to NAME_MAX bytes, the leading separator and the end included.
constexpr std::size_t kLongestName = 250;
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
/// Only a crowd of processes that create, close and take over one name at once makes for more.
constexpr int kMostAttempts = 100;

// A byte of the file stands for each side. These locks belong to the open file description: they
// hold between two objects of one process too, and the system drops them with the process. A child
// of the process has a part in them until it executes another program.
constexpr off_t kCreatorLock = 0;
constexpr off_t kOpenerLock = 1;

struct flock describeLock(off_t place)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = place;
    lock.l_len = 1;
    return lock;
}

bool takeLock(int descriptor, off_t place)
{
    struct flock lock = describeLock(place);
    return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

bool isLockedByOther(int descriptor, off_t place)
{
    struct flock lock = describeLock(place);
    return ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/// shm_open closes it by itself when another program is executed.
int openName(const std::string& name, int flags)
{
    return ownDescriptor(::shm_open(name.c_str(), O_RDWR | flags, kOwnerOnly));
}

/// 0, or what is wrong.
int reserveSpace(int descriptor, std::size_t size)
{
    int error;
    do {
        error = ::posix_fallocate(descriptor, 0, static_cast<off_t>(size));
    } while (error == EINTR);
    return error;
}

enum class NameState { Absent, SameFile, OtherFile };

/// What the name stands for now, compared with an open file.
NameState compareName(const std::string& name, int descriptor)
{
    const int other = openName(name, 0);
    if (other < 0) {
        return NameState::Absent;
    }
    struct stat own;
    struct stat named;
    const bool same = ::fstat(descriptor, &own) == 0 && ::fstat(other, &named) == 0 &&
                      own.st_dev == named.st_dev && own.st_ino == named.st_ino;
    ::close(other);
    return same ? NameState::SameFile : NameState::OtherFile;
}

bool isOwn(const struct stat& status)
{
    return status.st_uid == SharedRegion::getOwnerId();
}

} // namespace

std::string SharedRegion::spellName(const std::string& text, const std::string& tag)
{
    const std::size_t room = kLongestName - std::min(kLongestName, tag.size() + 2);
    std::string name = "/" + text.substr(0, room) + "_" + tag;
    std::replace_if(
        name.begin() + 1, name.end(), [](char c) { return c == '/' || c == '\\'; }, '_');
    return name;
}

unsigned int SharedRegion::getOwnerId()
{
    return static_cast<unsigned int>(::geteuid());
}

bool SharedRegion::isOffered(const std::string& name, std::size_t size)
{
    SharedRegion region;
    region.m_name = name;
    return region.find(size) == Outcome::Done;
}

bool SharedRegion::hasOpener(const std::string& name, std::size_t size)
{
    SharedRegion region;
    region.m_name = name;
    return region.find(size) == Outcome::Done && isLockedByOther(region.m_descriptor, kOpenerLock);
}

SharedRegion::Outcome SharedRegion::create(const std::string& name, std::size_t size)
{
    close();
    m_name = name;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const Outcome outcome = makeFile();
        if (outcome == Outcome::Done) {
            const int error = reserveSpace(m_descriptor, size);
            return error == 0 ? map(size) : fail(Outcome::Failed, error);
        }
        if (errno != EAGAIN) {
            return outcome;
        }
    }
    return fail(Outcome::Failed, EAGAIN);
}

// Who holds the creator's lock of the file that the name stands for is the creator; every step that
// changes the name is taken with that lock, so that of several processes one comes through. EAGAIN
// asks for another attempt.
SharedRegion::Outcome SharedRegion::makeFile()
{
    m_descriptor = openName(m_name, O_CREAT | O_EXCL);
    if (m_descriptor >= 0) {
        // Whoever came between took the new file for a stale one.
        if (!takeLock(m_descriptor, kCreatorLock)) {
            return failLock(Outcome::HasCreator);
        }
        if (compareName(m_name, m_descriptor) != NameState::SameFile) {
            return tryAgain();
        }
        m_isCreator = true;
        return Outcome::Done;
    }
    if (errno != EEXIST) {
        return fail(Outcome::Failed, errno);
    }

    m_descriptor = openName(m_name, 0);
    if (m_descriptor < 0) {
        return errno == ENOENT ? tryAgain() : failOpen();
    }
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0 || !isOwn(status)) {
        return fail(Outcome::OtherOwner, EACCES);
    }
    if (!S_ISREG(status.st_mode)) {
        return fail(Outcome::OtherKind, EEXIST);
    }
    if (!takeLock(m_descriptor, kCreatorLock)) {
        return failLock(Outcome::HasCreator);
    }
    if (compareName(m_name, m_descriptor) == NameState::SameFile) {
        ::shm_unlink(m_name.c_str());
    }
    return tryAgain();
}

SharedRegion::Outcome SharedRegion::open(const std::string& name, std::size_t size,
                                         const SharedRegion* partner)
{
    close();
    m_name = name;
    const Outcome outcome = find(size);
    if (outcome != Outcome::Done) {
        return outcome;
    }
    if (partner && compareName(partner->m_name, partner->m_descriptor) != NameState::SameFile) {
        return fail(Outcome::PartnerReplaced, EAGAIN);
    }
    return takeLock(m_descriptor, kOpenerLock) ? map(size) : failLock(Outcome::HasOpener);
}

SharedRegion::Outcome SharedRegion::find(std::size_t size)
{
    m_descriptor = openName(m_name, 0);
    if (m_descriptor < 0) {
        return failOpen();
    }
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0 || !isOwn(status)) {
        return fail(Outcome::OtherOwner, EACCES);
    }
    if (!S_ISREG(status.st_mode)) {
        return fail(Outcome::OtherKind, EINVAL);
    }
    if (!isLockedByOther(m_descriptor, kCreatorLock)) {
        return fail(Outcome::CreatorGone, ENOENT);
    }
    if (static_cast<unsigned long long>(status.st_size) < size) {
        return fail(Outcome::TooSmall, EINVAL);
    }
    return Outcome::Done;
}

void SharedRegion::close()
{
    if (m_data) {
        ::munmap(std::exchange(m_data, nullptr), m_size);
    }
    // The lock is still ours, so nobody puts another region under the name between the two calls.
    if (m_isCreator && compareName(m_name, m_descriptor) == NameState::SameFile) {
        ::shm_unlink(m_name.c_str());
    }
    m_isCreator = false;
    closeDescriptor();
}

bool SharedRegion::isReplaced() const
{
    return m_descriptor >= 0 && compareName(m_name, m_descriptor) == NameState::OtherFile;
}

bool SharedRegion::isPeerPresent() const
{
    return m_descriptor >= 0 &&
           isLockedByOther(m_descriptor, m_isCreator ? kOpenerLock : kCreatorLock);
}

// All pages are brought in at once: the first lap through a ring is then as fast as the others.
SharedRegion::Outcome SharedRegion::map(std::size_t size)
{
    void* const data =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, m_descriptor, 0);
    if (data == MAP_FAILED) {
        return fail(Outcome::NotMapped, errno);
    }
    m_data = static_cast<char*>(data);
    m_size = size;
    return Outcome::Done;
}

void SharedRegion::closeDescriptor()
{
    if (m_descriptor >= 0) {
        ::close(std::exchange(m_descriptor, -1));
    }
}

SharedRegion::Outcome SharedRegion::fail(Outcome outcome, int error)
{
    close();
    errno = error;
    return outcome;
}

SharedRegion::Outcome SharedRegion::failOpen()
{
    // Of a directory shm_open says EINVAL, of a link ELOOP.
    const bool isOther = errno == ELOOP || errno == EISDIR || errno == EINVAL;
    return fail(errno == EACCES ? Outcome::OtherOwner
                : isOther       ? Outcome::OtherKind
                                : Outcome::Failed,
                errno);
}

SharedRegion::Outcome SharedRegion::failLock(Outcome inUse)
{
    const bool isHeld = errno == EAGAIN || errno == EACCES;
    return fail(isHeld ? inUse : Outcome::Failed, isHeld ? EBUSY : errno);
}

SharedRegion::Outcome SharedRegion::tryAgain()
{
    return fail(Outcome::Failed, EAGAIN);
}

} // namespace Tracewell
