// SPDX-License-Identifier: BSD-3-Clause

#include "record/SnapshotDirectory.h"

#include "files/OwnFile.h"
#include "text/Failure.h"

#include "OutputFileNames.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>

namespace tracewell {

namespace {

constexpr const char* kPattern = ".tracewell-XXXXXX";

[[noreturn]] void failToCreate(const std::string& output, int error)
{
    const char* remedy =
        error == ENOSPC ? "make room there" : "the output needs a directory that can be written to";
    throw Failure(
        fmt::format("{}: cannot be created: {}; {}", output, std::strerror(error), remedy));
}

} // namespace

SnapshotDirectory::SnapshotDirectory(std::string output)
    : m_output(std::move(output)), m_snapshot("work.import")
{
    std::filesystem::path parent = std::filesystem::path(m_output).parent_path();
    if (parent.empty()) {
        parent = ".";
    }
    removeAbandonedDirectories(parent.string(), kPattern);
    m_path = (parent / kPattern).string();
    if (::mkdtemp(m_path.data()) == nullptr) {
        failToCreate(m_output, errno);
    }
    m_lock.hold(m_path);
    m_isThere = true;
}

SnapshotDirectory::~SnapshotDirectory()
{
    remove();
}

void SnapshotDirectory::remove()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
    m_lock.release();
    m_isThere = false;
}

void SnapshotDirectory::write(std::string_view nameTable)
{
    if (!m_isThere) {
        if (::mkdir(m_path.c_str(), S_IRWXU) != 0) {
            failToCreate(m_output, errno);
        }
        m_lock.hold(m_path);
        m_isThere = true;
    }
    ZSIM::OutputFileNames::setZSimDirLocation(m_path.c_str());
    const std::filesystem::path file = ZSIM::OutputFileNames::getDbgPathName(m_snapshot);
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const int failure = error ? error.value() : writeWholeFile(file.string(), nameTable);
    if (failure != 0) {
        failToCreate(m_output, failure);
    }
}

} // namespace tracewell
