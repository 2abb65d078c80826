// SPDX-License-Identifier: BSD-3-Clause

#include "files/OutputFile.h"

#include "files/OwnFile.h"
#include "files/StandardStreams.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

namespace fs = std::filesystem;

constexpr mode_t kOwner = 0600;
constexpr mode_t kEveryone = 0666;
constexpr mode_t kPermissions = 0777;
/// With those that must not pass to another owner.
constexpr mode_t kAllModes = 07777;

const char* remedyOf(int error)
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return "make room there";
    case ENOENT:
        return "make its directory first";
    case ENAMETOOLONG:
        return "give it a shorter one";
    default:
        return "check the place and its permissions";
    }
}

[[noreturn]] void failToCreate(const std::string& name, int error)
{
    throw Failure(
        fmt::format("{}: cannot be created: {}; {}", name, std::strerror(error), remedyOf(error)));
}

[[noreturn]] void failToReplace(const std::string& name, const std::string& reason)
{
    throw Failure(
        fmt::format("{}: cannot be replaced: {}; name another file for the output", name, reason));
}

/// Where a name leads behind all links, also when no file is there yet.
std::string targetOf(std::string path)
{
    constexpr int kMostLinks = 40;
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
        path = (fs::path(path).parent_path() / fs::read_symlink(path, error)).string();
    }
    return path;
}

std::string directoryOf(const fs::path& file)
{
    const fs::path parent = file.parent_path();
    return parent.empty() ? "." : parent.string();
}

/// Otherwise errno says why not.
bool takesFiles(const std::string& directory)
{
    return ::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

/// A name for a file beside `target`. It ends as a recording's does, which the library asks for.
std::string nameBeside(const fs::path& target)
{
    const std::string suffix = fmt::format(".part-{:08x}.wdb", std::random_device()());
    const std::string name = target.filename().string().substr(0, NAME_MAX - suffix.size());
    return (target.parent_path() / (name + suffix)).string();
}

bool isSame(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool mayReplace(const struct stat& file, const struct stat& directory)
{
    const uid_t user = ::geteuid();
    return (directory.st_mode & S_ISVTX) == 0 || user == 0 || user == file.st_uid ||
           user == directory.st_uid;
}

} // namespace

OutputFile::OutputFile(const std::string& name, OutputKind kind, const std::string& input)
    : m_name(name), m_target(name), m_path(name)
{
    if (name == "-") {
        if (kind != OutputKind::Any) {
            throw Failure("the output must be a file; it cannot go to the standard output");
        }
        m_isRemovable = false;
        return;
    }
    if (name.empty()) {
        throw Failure("the name of the output is empty; name a file");
    }
    find(kind, input);
}

void OutputFile::find(OutputKind kind, const std::string& input)
{
    struct stat to;
    const bool isThere = ::stat(m_name.c_str(), &to) == 0;
    if (!isThere && errno != ENOENT) {
        failToCreate(m_name, errno);
    }
    if (leadsToClosedStream(m_name)) {
        throw Failure(fmt::format(
            "{}: leads to a stream that is closed; name a file for the output", m_name));
    }
    if (isThere && !S_ISREG(to.st_mode)) {
        if (S_ISDIR(to.st_mode)) {
            throw Failure(fmt::format("{}: this is a directory; name a file in it for the "
                                      "output",
                                      m_name));
        }
        if (kind != OutputKind::Any) {
            throw Failure(fmt::format("{}: is no regular file; name one for the output", m_name));
        }
        m_isRemovable = false;
        return;
    }
    m_target = m_path = targetOf(m_name);
    if (!isThere && !takesFiles(directoryOf(m_target))) {
        failToCreate(m_name, errno);
    }
    if (isThere) {
        struct stat from;
        const int found =
            input == "-" ? ::fstat(STDIN_FILENO, &from) : ::stat(input.c_str(), &from);
        if (found == 0 && isSame(from, to)) {
            throw Failure(
                fmt::format("{}: is the input as well; name another file for the output", m_name));
        }
        requireReplaceable();
        m_isReplacement = true;
    }
    if (isThere || kind == OutputKind::WholeFile) {
        m_path = nameBeside(m_target);
    }
}

/// What cannot be replaced at the end is refused at the beginning.
void OutputFile::requireReplaceable()
{
    const int descriptor = openOwnFile(m_target, O_WRONLY | O_NONBLOCK);
    if (descriptor < 0) {
        failToReplace(m_name, std::strerror(errno));
    }
    struct stat file;
    ::fstat(descriptor, &file);
    ::close(descriptor);
    const std::string directory = directoryOf(m_target);
    struct stat place;
    if (!takesFiles(directory) || ::stat(directory.c_str(), &place) != 0) {
        failToReplace(m_name,
                      fmt::format("its directory takes no second file: {}", std::strerror(errno)));
    }
    if (!mayReplace(file, place)) {
        failToReplace(m_name, "it belongs to somebody else, in a directory for all");
    }
}

void OutputFile::start()
{
    if (m_isOurs || !m_isRemovable) {
        return;
    }
    if (isAside()) {
        const int descriptor =
            openOwnFile(m_path, O_WRONLY | O_CREAT | O_EXCL, m_isReplacement ? kOwner : kEveryone);
        if (descriptor < 0) {
            failToCreate(m_name, errno);
        }
        ::close(descriptor);
    }
    m_isOurs = true;
}

// The file before never lacks a name, whenever the process is killed.
void OutputFile::show()
{
    if (!m_isOurs || !m_isReplacement) {
        return;
    }
    takeOver(m_path);
    struct stat earlier;
    if (::lstat(previous().c_str(), &earlier) == 0 && !S_ISREG(earlier.st_mode)) {
        failToReplace(m_name, previous() + ", its name meanwhile, is no regular file");
    }
    if (::stat(m_path.c_str(), &m_shown) != 0 || ::stat(m_target.c_str(), &m_before) != 0) {
        failToReplace(m_name, std::strerror(errno));
    }
    ::unlink(previous().c_str());
    // Not every file system has hard links.
    if (::link(m_target.c_str(), previous().c_str()) != 0 &&
        ::rename(m_target.c_str(), previous().c_str()) != 0) {
        failToReplace(m_name, std::strerror(errno));
    }
    if (::rename(m_path.c_str(), m_target.c_str()) != 0) {
        const int error = errno;
        ::rename(previous().c_str(), m_target.c_str());
        // Names of one file: then rename() does nothing.
        ::unlink(previous().c_str());
        failToReplace(m_name, std::strerror(error));
    }
    m_isShown = true;
}

/// Another run may have taken the name, or the user moved the files.
bool OutputFile::isStillShown() const
{
    struct stat now;
    struct stat before;
    return m_isShown && ::stat(m_target.c_str(), &now) == 0 && isSame(now, m_shown) &&
           ::lstat(previous().c_str(), &before) == 0 && isSame(before, m_before);
}

bool OutputFile::giveBack()
{
    const bool isBack = isStillShown() &&
                        (::link(m_target.c_str(), m_path.c_str()) == 0 ||
                         ::rename(m_target.c_str(), m_path.c_str()) == 0) &&
                        ::rename(previous().c_str(), m_target.c_str()) == 0;
    const bool isAtPath = isBack || (isAside() && !m_isShown && m_isOurs);
    m_isShown = m_isOurs = false;
    return isAtPath;
}

std::string OutputFile::finish(bool isWhole)
{
    if (m_isOurs && m_isReplacement && !m_isShown && !isWhole) {
        return keepBeside();
    }
    if (isStillShown()) {
        ::unlink(previous().c_str());
    } else if (m_isOurs && !m_isShown && isAside() && !take(m_path)) {
        failToReplace(m_name, std::strerror(errno));
    }
    m_isShown = m_isOurs = false;
    return {};
}

/// Takes no name that something has already.
std::string OutputFile::keepBeside()
{
    m_isOurs = false;
    const fs::path target(m_target);
    const std::string suffix = ".part" + target.extension().string();
    const std::string stem = target.stem().string();
    const std::string name =
        (target.parent_path() /
         (stem.substr(0, NAME_MAX - std::min<std::size_t>(suffix.size(), NAME_MAX)) + suffix))
            .string();
    takeOver(m_path);
    const bool isNamed = ::link(m_path.c_str(), name.c_str()) == 0;
    if (isNamed) {
        ::unlink(m_path.c_str());
    }
    return fmt::format("; {} stays as it was, and what was made is in {}", m_name,
                       isNamed ? name : m_path);
}

bool OutputFile::take(const std::string& file) const
{
    takeOver(file);
    return ::rename(file.c_str(), m_target.c_str()) == 0;
}

void OutputFile::takeOver(const std::string& file) const
{
    struct stat before;
    if (m_isReplacement && ::stat(m_target.c_str(), &before) == 0) {
        const bool isOwned = ::chown(file.c_str(), before.st_uid, before.st_gid) == 0;
        ::chmod(file.c_str(), before.st_mode & (isOwned ? kAllModes : kPermissions));
    }
}

void OutputFile::discard()
{
    if (m_isShown) {
        m_isOurs = giveBack();
    }
    struct stat status;
    if (m_isOurs && ::stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        ::unlink(m_path.c_str());
    }
    m_isOurs = false;
}

std::string OutputFile::named(std::string message) const
{
    if (isAside()) {
        for (std::size_t at = 0; (at = message.find(m_path, at)) != std::string::npos;
             at += m_name.size()) {
            message.replace(at, m_path.size(), m_name);
        }
    }
    return message;
}

} // namespace tracewell
