// SPDX-License-Identifier: BSD-3-Clause

#include "files/DirectoryLock.h"

#include "files/OwnFile.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// One that was made just now may not be held yet.
constexpr std::time_t kLeastAge = 60;
/// What we make is not deeper.
constexpr int kMostLevels = 8;
constexpr int kDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

struct CloseDirectory
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// Takes the descriptor over.
std::vector<std::string> namesIn(int descriptor)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(descriptor));
    if (!directory) {
        ::close(descriptor);
        return names;
    }
    while (const dirent* const entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

/// By descriptors, so that a name that comes to lead elsewhere meanwhile does no harm.
void empty(int descriptor, int levels)
{
    const int listed = openOwnFileAt(descriptor, ".", kDirectory);
    if (listed < 0) {
        return;
    }
    for (const std::string& name : namesIn(listed)) {
        if (::unlinkat(descriptor, name.c_str(), 0) == 0 || levels == 0) {
            continue;
        }
        if (const int below = openOwnFileAt(descriptor, name, kDirectory); below >= 0) {
            empty(below, levels - 1);
            ::close(below);
            ::unlinkat(descriptor, name.c_str(), AT_REMOVEDIR);
        }
    }
}

bool isAbandoned(int descriptor)
{
    struct stat status
    {};
    return ::fstat(descriptor, &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777) == S_IRWXU &&
           status.st_mtime < std::time(nullptr) - kLeastAge &&
           ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

bool fits(const std::string& name, const std::string& pattern)
{
    const std::size_t start = std::min(pattern.find('X'), pattern.size());
    return name.size() == pattern.size() && name.compare(0, start, pattern, 0, start) == 0 &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(start), name.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

} // namespace

void DirectoryLock::hold(const std::string& path)
{
    release();
    m_descriptor = openOwnFile(path, kDirectory);
    if (m_descriptor >= 0) {
        ::flock(m_descriptor, LOCK_EX | LOCK_NB);
    }
}

void DirectoryLock::release()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

void removeAbandonedDirectories(const std::string& parent, const std::string& pattern)
{
    const int place = openOwnFile(parent, O_RDONLY | O_DIRECTORY);
    const int listed = place < 0 ? -1 : openOwnFileAt(place, ".", O_RDONLY | O_DIRECTORY);
    if (listed >= 0) {
        for (const std::string& name : namesIn(listed)) {
            const int found = fits(name, pattern) ? openOwnFileAt(place, name, kDirectory) : -1;
            if (found < 0) {
                continue;
            }
            if (isAbandoned(found)) {
                empty(found, kMostLevels);
                ::unlinkat(place, name.c_str(), AT_REMOVEDIR);
            }
            ::close(found);
        }
    }
    if (place >= 0) {
        ::close(place);
    }
}

} // namespace tracewell
