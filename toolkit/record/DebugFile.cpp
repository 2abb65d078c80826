// SPDX-License-Identifier: BSD-3-Clause

#include "record/DebugFile.h"

#include "files/OwnFile.h"
#include "formats/wdb/NameSection.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// Only processes that begin and end at once with this one make for more than one.
constexpr int kMostAttempts = 200;
constexpr auto kPause = std::chrono::milliseconds(10);

} // namespace

DebugFile::DebugFile(const std::string& path, std::string_view text) : m_path(path)
{
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
        m_descriptor = openOwnFile(path, O_RDWR | O_CREAT);
        if (m_descriptor < 0 && errno != ENOENT) {
            fail(fmt::format("cannot be made: {}; the simulation needs a directory that can be "
                             "written to, see --dir",
                             std::strerror(errno)));
        }
        if (m_descriptor >= 0 && tryToShare(text)) {
            return;
        }
        if (m_descriptor >= 0) {
            ::close(std::exchange(m_descriptor, -1));
        }
        std::this_thread::sleep_for(kPause);
    }
    fail("is locked by another program; end it, or choose another --snapshot");
}

DebugFile::~DebugFile()
{
    if (m_descriptor < 0) {
        return;
    }
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 && isStillNamed()) {
        ::unlink(m_path.c_str());
        // Only what is empty goes.
        const std::filesystem::path snapshot = std::filesystem::path(m_path).parent_path();
        ::rmdir(snapshot.c_str());
        ::rmdir(snapshot.parent_path().c_str());
    }
    ::close(m_descriptor);
}

/// False when another process is at work on the file at this moment.
bool DebugFile::tryToShare(std::string_view text)
{
    const bool isAlone = ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0;
    if (!isAlone && ::flock(m_descriptor, LOCK_SH | LOCK_NB) != 0) {
        return false;
    }
    if (!isStillNamed()) {
        return false;
    }
    const std::string present = readAll();
    if (!isAlone && present != text) {
        fail("is in use by a simulation with other names; choose another --snapshot");
    }
    if (isAlone) {
        if (!present.empty() && !isNameTable(present)) {
            fail("belongs to another program; choose another --snapshot or --dir");
        }
        write(text);
        // Between the two locks there is a moment without any.
        if (::flock(m_descriptor, LOCK_SH | LOCK_NB) != 0 || !isStillNamed()) {
            return false;
        }
    }
    return true;
}

void DebugFile::write(std::string_view text)
{
    const bool isWritten =
        ::ftruncate(m_descriptor, 0) == 0 &&
        ::pwrite(m_descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    if (!isWritten) {
        const int error = errno;
        ::unlink(m_path.c_str());
        fail(fmt::format("cannot be written: {}", std::strerror(error != 0 ? error : ENOSPC)));
    }
}

std::string DebugFile::readAll() const
{
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0 || status.st_size <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t got = ::pread(m_descriptor, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

bool DebugFile::isStillNamed() const
{
    struct stat own;
    struct stat named;
    return ::fstat(m_descriptor, &own) == 0 && ::stat(m_path.c_str(), &named) == 0 &&
           own.st_dev == named.st_dev && own.st_ino == named.st_ino;
}

void DebugFile::fail(const std::string& why)
{
    if (m_descriptor >= 0) {
        ::close(std::exchange(m_descriptor, -1));
    }
    throw Failure(fmt::format("{}: {}", m_path, why));
}

} // namespace tracewell
