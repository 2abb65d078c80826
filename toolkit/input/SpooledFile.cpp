// SPDX-License-Identifier: BSD-3-Clause

#include "input/SpooledFile.h"

#include "files/OwnFile.h"
#include "files/StandardStreams.h"
#include "files/Terminal.h"
#include "input/InputFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

SpooledFile::SpooledFile(const std::string& path, std::unique_ptr<ByteSource> source,
                         const std::function<void()>& whileReading)
{
    m_isRepeatable = source->isRepeatable();
    std::error_code error;
    if (path != "-" && std::filesystem::is_regular_file(path, error) &&
        packingOf(path) == nullptr) {
        m_descriptor = openOwnFile(path, O_RDONLY);
        struct stat status = {};
        if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0) {
            throw Failure(fmt::format("{}: cannot be opened: {}; check its permissions", path,
                                      std::strerror(errno)));
        }
        m_size = static_cast<unsigned long long>(status.st_size);
        return;
    }
    makeTemporary();
    constexpr std::size_t kPiece = 1 << 20;
    std::vector<char> piece(kPiece);
    while (const std::size_t got = source->read(piece.data(), piece.size(), whileReading)) {
        append(piece.data(), got);
    }
    m_flaw = source->flaw();
}

SpooledFile::SpooledFile(const unsigned char* bytes, std::size_t size)
{
    makeTemporary();
    append(bytes, size);
}

SpooledFile::~SpooledFile()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

void SpooledFile::makeTemporary()
{
    const std::string directory = temporaryDirectory();
    m_descriptor = openOwnFile(directory, O_TMPFILE | O_RDWR | O_EXCL, S_IRUSR | S_IWUSR);
    if (m_descriptor < 0) {
        // Not every file system has files without a name.
        std::string name = directory + "/tracewell-XXXXXX";
        const int made = ::mkstemp(name.data());
        if (made >= 0) {
            m_descriptor = openOwnFile(name, O_RDWR);
            ::unlink(name.c_str());
            ::close(made);
        }
    }
    if (m_descriptor < 0) {
        throw Failure(fmt::format("{}: no temporary file can be made there: {}; set TMPDIR to "
                                  "another place",
                                  directory, std::strerror(errno)));
    }
}

void SpooledFile::append(const void* bytes, std::size_t size)
{
    if (const int error = writeAll(m_descriptor, static_cast<const char*>(bytes), size)) {
        throw Failure(fmt::format("the place for temporary files: cannot be written: {}; make room "
                                  "there, or set TMPDIR to another place",
                                  std::strerror(error)));
    }
    m_size += size;
}

bool SpooledFile::read(unsigned long long at, void* to, std::size_t size) const
{
    if (at > m_size || size > m_size - at) {
        return false;
    }
    auto* place = static_cast<char*>(to);
    while (size > 0) {
        const ssize_t got = ::pread(m_descriptor, place, size, static_cast<off_t>(at));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        place += got;
        at += static_cast<unsigned long long>(got);
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace tracewell
