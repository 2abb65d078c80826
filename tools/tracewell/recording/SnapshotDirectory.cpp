#include "recording/SnapshotDirectory.h"

#include "CommandError.h"

#include "OutputFileNames.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace tracewell {

namespace {

/// What a new container takes besides the table: its sections, headers and first list nodes.
constexpr std::uintmax_t kContainerBytes = 256 * 1024;

[[noreturn]] void failToCreate(const std::string& output, int error)
{
    throw CommandError(fmt::format("{}: cannot be created: {}", output, std::strerror(error)));
}

} // namespace

SnapshotDirectory::SnapshotDirectory(const std::string& output, std::string_view nameTable)
    : m_snapshot("work.import")
{
    const std::filesystem::path parent = std::filesystem::path(output).parent_path();
    m_path = ((parent.empty() ? "." : parent) / ".tracewell-XXXXXX").string();
    if (::mkdtemp(m_path.data()) == nullptr) {
        failToCreate(output, errno);
    }
    try {
        write(output, nameTable);
    } catch (...) {
        remove();
        throw;
    }
}

SnapshotDirectory::~SnapshotDirectory()
{
    remove();
}

void SnapshotDirectory::remove()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void SnapshotDirectory::write(const std::string& output, std::string_view nameTable)
{
    ZSIM::OutputFileNames::setZSimDirLocation(m_path.c_str());
    const std::filesystem::path file = ZSIM::OutputFileNames::getDbgPathName(m_snapshot);
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    errno = error.value();
    std::ofstream stream(file, std::ios::binary);
    stream.write(nameTable.data(), static_cast<std::streamsize>(nameTable.size()));
    stream.close();
    if (!stream) {
        failToCreate(output, errno != 0 ? errno : EIO);
    }
    // A writer that finds the disk full ends the process on the spot, and this directory would
    // stay behind.
    const auto space = std::filesystem::space(m_path, error);
    if (!error && space.available < nameTable.size() + kContainerBytes) {
        failToCreate(output, ENOSPC);
    }
}

} // namespace tracewell
