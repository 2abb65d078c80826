// SPDX-License-Identifier: BSD-3-Clause

#include "view/SessionFile.h"

#include "files/OutputText.h"
#include "text/Failure.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

namespace tracewell {

namespace {

using Json = nlohmann::json;

/// A page with as many rows as a page can show is far below.
constexpr std::uintmax_t kLargest = 64 << 20;

bool isSession(const Json& json)
{
    return json.is_object() && json.contains("rows") && json["rows"].is_array();
}

[[noreturn]] void refuse(const std::string& path)
{
    throw Failure(fmt::format(
        "{}: is no session of a page, and would be replaced; name another file for --session",
        path));
}

} // namespace

SessionFile::SessionFile(std::string path) : m_path(std::move(path))
{
    if (isNamed()) {
        read();
    }
}

Json SessionFile::read() const
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(m_path, error);
    if (status.type() == fs::file_type::not_found) {
        return {};
    }
    if (status.type() == fs::file_type::directory) {
        throw Failure(
            fmt::format("{}: this is a directory; name a file in it for the session", m_path));
    }
    if (status.type() != fs::file_type::regular) {
        refuse(m_path);
    }
    const std::uintmax_t size = fs::file_size(m_path, error);
    if (error || size > kLargest) {
        refuse(m_path);
    }
    std::ifstream file(m_path, std::ios::binary);
    std::string text(size, '\0');
    if (!file.read(text.data(), static_cast<std::streamsize>(size))) {
        throw Failure(fmt::format("{}: cannot be read: {}", m_path, std::strerror(errno)));
    }
    if (text.empty()) {
        return {};
    }
    Json session = Json::parse(text, nullptr, false);
    if (!isSession(session)) {
        refuse(m_path);
    }
    return session;
}

void SessionFile::write(const Json& session) const
{
    if (!isSession(session)) {
        throw Failure("what is to be saved is no session");
    }
    read();
    OutputText out(m_path);
    out.text() = session.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    out.finish();
}

} // namespace tracewell
