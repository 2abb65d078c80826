// SPDX-License-Identifier: BSD-3-Clause

#include "input/FileKind.h"

#include "files/StandardStreams.h"
#include "input/Content.h"
#include "input/InputFile.h"
#include "text/Counted.h"
#include "text/Failure.h"

#include "QsimException.h"
#include "WdbColumnReader.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace tracewell {

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& why)
{
    throw Failure(fmt::format("{}: {}", path, why));
}

std::string readHead(std::ifstream& file)
{
    std::string head(kLongestBlankStart, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

std::string whyForeign(const std::string& path, std::string_view head, Content content)
{
    const Packing* packing = nullptr;
    if (content.kind == Content::Kind::Packed) {
        packing = content.packing;
        content = contentOf(unpackedHead(path));
    }
    std::string why = whyUnreadable(content, packing);
    if (!why.empty()) {
        return why;
    }
    if (isRun(content.kind)) {
        return fmt::format("this is {}{} and no wave database; convert it first: tracewell import "
                           "{} OUT.wdb",
                           content.name,
                           packing != nullptr ? fmt::format(" packed by {}", packing->name) : "",
                           path);
    }
    if (packing != nullptr) {
        return fmt::format("this is a {0} file, and what it holds is neither a wave database nor a "
                           "run; check the file name, or unpack it ({1}) and look",
                           packing->name, packing->tool);
    }
    if (content.kind == Content::Kind::Empty) {
        return "the file is empty; was the recording started?";
    }
    if (content.kind == Content::Kind::OtherVersion) {
        return "this wave database has another format version; use the program that wrote it";
    }
    if (head.size() < kContentBytes) {
        return fmt::format("the file has only {} and is no wave database; record it again",
                           counted(head.size(), "byte"));
    }
    return "this is no wave database (the first 24 bytes say so); check the file name";
}

/// What cannot be told is taken for a container of events, of which more will be said.
bool hasColumns(const std::string& path)
{
    Tracewell::WdbFileManager file;
    try {
        file.open(path);
        return Tracewell::WdbColumnReader::isColumns(file);
    } catch (const Qsim::OpenException&) {
        return false;
    }
}

} // namespace

const char* describe(FileKind kind)
{
    switch (kind) {
    case FileKind::Events:
        return "an event database";
    case FileKind::Columns:
        return "a recording in columns";
    case FileKind::Transitions:
        break;
    }
    return "a transition database";
}

FileKind findFileKind(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        fail(path, "no such file; check the name");
    }
    if (error) {
        fail(path,
             fmt::format("cannot be examined: {}; check the name and the permissions on its way",
                         error.message()));
    }
    if (leadsToClosedStream(path)) {
        fail(path, kWhyClosedInput);
    }
    if (std::filesystem::is_directory(status)) {
        fail(path, "this is a directory; name a .wdb file in it");
    }
    if (!std::filesystem::is_regular_file(status)) {
        fail(path, "this is no regular file; name a .wdb file");
    }

    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fail(path, fmt::format("cannot be opened: {}; check its permissions",
                               errno != 0 ? std::strerror(errno) : "unknown reason"));
    }
    const std::string head = readHead(file);
    if (file.bad()) {
        fail(path, "cannot be read; check the disk");
    }
    const Content content = contentOf(head);
    if (content.kind == Content::Kind::Events) {
        return hasColumns(path) ? FileKind::Columns : FileKind::Events;
    }
    if (content.kind == Content::Kind::Transitions) {
        return FileKind::Transitions;
    }
    fail(path, whyForeign(path, head, content));
}

bool isRun(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_type type = std::filesystem::status(path, error).type();
    if (path == "-" || type == std::filesystem::file_type::fifo ||
        type == std::filesystem::file_type::character) {
        return true;
    }
    if (type != std::filesystem::file_type::regular) {
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    const Content content = contentOf(readHead(file));
    return isRun(content.kind) || content.kind == Content::Kind::Packed;
}

} // namespace tracewell
