// SPDX-License-Identifier: BSD-3-Clause

#include "platform/ProcessTree.h"

#include "platform/DescriptorFile.h"

#include <cstdlib>

#include <unistd.h>

namespace Tracewell {

namespace {

constexpr char kDeletedMark[] = " (deleted)";

std::string readAll(const std::string& path)
{
    std::string text;
    DescriptorFile file;
    if (!file.open(path, DescriptorFile::Mode::Read)) {
        return text;
    }
    // The system does not tell the size of such a file.
    char piece[4096];
    while (const std::size_t got =
               file.readAt(static_cast<long long>(text.size()), piece, sizeof piece)) {
        text.append(piece, got);
    }
    return text;
}

std::string readLink(const std::string& path)
{
    std::string target(4096, '\0');
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    target.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return target;
}

std::string withoutDirectory(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string withoutDeletedMark(const std::string& path)
{
    constexpr std::size_t kLength = sizeof kDeletedMark - 1;
    const bool marked =
        path.size() > kLength && path.compare(path.size() - kLength, kLength, kDeletedMark) == 0;
    return marked ? path.substr(0, path.size() - kLength) : path;
}

/// The link to the executable can be read for one's own processes only, the command line for all
/// but the system's own, and the short name, which is cut to 15 characters, for every one.
std::string findExecutable(const std::string& directory, const std::string& shortName)
{
    const std::string executable = withoutDeletedMark(readLink(directory + "/exe"));
    if (!executable.empty()) {
        return withoutDirectory(executable);
    }
    const std::string commandLine = readAll(directory + "/cmdline");
    const std::string command = commandLine.substr(0, commandLine.find('\0'));
    return command.empty() ? shortName : withoutDirectory(command);
}

} // namespace

bool findProcess(int id, ProcessEntry& entry)
{
    if (id <= 0) {
        return false;
    }
    // "id (short name) state parent ...", where the short name may hold anything.
    const std::string directory = "/proc/" + std::to_string(id);
    const std::string status = readAll(directory + "/stat");
    const std::string::size_type nameBegin = status.find('(');
    const std::string::size_type nameEnd = status.rfind(") ");
    if (nameBegin == std::string::npos || nameEnd == std::string::npos || nameEnd < nameBegin ||
        nameEnd + 4 >= status.size()) {
        return false;
    }
    entry.parent = std::atoi(status.c_str() + nameEnd + 4);
    entry.executable =
        findExecutable(directory, status.substr(nameBegin + 1, nameEnd - nameBegin - 1));
    return true;
}

} // namespace Tracewell
