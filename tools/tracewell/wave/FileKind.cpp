#include "wave/FileKind.h"

#include "CommandError.h"
#include "wave/TransitionHeader.h"

#include "WdbFileHeader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace tracewell {

namespace {

using Tracewell::WdbFileHeader;

/// Section kind and length with which a file in the FST format starts.
constexpr std::string_view kFstStart{"\x00\x00\x00\x00\x00\x00\x00\x01\x49", 9};
constexpr std::string_view kGzipStart{"\x1f\x8b", 2};
/// How far a VCD's first keyword is looked for.
constexpr std::size_t kLongestBlankStart = 4096;

[[noreturn]] void fail(const std::string& path, const std::string& why)
{
    throw CommandError(fmt::format("{}: {}", path, why));
}

bool startsLikeVcd(std::string_view head)
{
    const std::size_t start = head.find_first_not_of(" \t\r\n");
    return start != std::string_view::npos && head.size() > start + 1 && head[start] == '$' &&
           std::islower(static_cast<unsigned char>(head[start + 1])) != 0;
}

bool startsLikeTransitions(std::string_view head)
{
    TransitionHeader header{};
    constexpr std::size_t kSignatureSize = sizeof header.first + sizeof header.second;
    if (head.size() < kSignatureSize) {
        return false;
    }
    std::memcpy(&header, head.data(), kSignatureSize);
    return header.isUnfinished() || header.isFinished();
}

std::string foreignKind(const std::string& path, std::string_view head)
{
    if (head.empty()) {
        return "the file is empty; was the recording started?";
    }
    if (startsLikeVcd(head)) {
        return fmt::format("this is a VCD text and no wave database; convert it first: tracewell "
                           "import {} OUT.wdb",
                           path);
    }
    if (head.substr(0, kFstStart.size()) == kFstStart) {
        return "this is an FST file and no wave database; convert it to VCD (fst2vcd), then: "
               "tracewell import IN.vcd OUT.wdb";
    }
    if (head.substr(0, kGzipStart.size()) == kGzipStart) {
        return "this is a gzip file; unpack it first (gunzip)";
    }
    const WdbFileHeader sound;
    const std::string_view version = sound.m_version;
    const std::size_t family = version.rfind(' ');
    if (head.substr(0, family) == version.substr(0, family)) {
        return "this wave database has another format version; use the program that wrote it";
    }
    if (head.size() < sizeof(WdbFileHeader)) {
        return fmt::format("the file has only {} bytes and is no wave database; record it again",
                           head.size());
    }
    return "this is no wave database (the first 24 bytes say so); check the file name";
}

} // namespace

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
    char head[sizeof(WdbFileHeader)] = {};
    file.read(head, sizeof head);
    const std::string_view found(head, static_cast<std::size_t>(file.gcount()));
    if (file.bad()) {
        fail(path, "cannot be read; check the disk");
    }
    WdbFileHeader header;
    std::memcpy(&header, head, sizeof header);
    if (found.size() == sizeof header && header.isVersionStringMatched()) {
        return FileKind::Events;
    }
    if (startsLikeTransitions(found)) {
        return FileKind::Transitions;
    }
    fail(path, foreignKind(path, found));
}

bool isVcdText(const std::string& path)
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
    std::string head(kLongestBlankStart, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    return startsLikeVcd(std::string_view(head).substr(0, static_cast<std::size_t>(file.gcount())));
}

} // namespace tracewell
