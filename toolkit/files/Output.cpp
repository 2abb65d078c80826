// SPDX-License-Identifier: BSD-3-Clause

#include "files/Output.h"

#include "text/Failure.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <iostream>

namespace tracewell {

Output::Output() : m_stream(std::cout) {}

void Output::write()
{
    m_stream.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    m_text.clear();
    check();
}

void Output::finish()
{
    write();
    m_stream.flush();
    check();
}

void Output::check() const
{
    if (!m_stream) {
        const int error = errno;
        const char* const remedy = error == EBADF   ? "give it a file or a pipe"
                                   : error == EPIPE ? "let its reader take all of it"
                                                    : "make room";
        throw Failure(fmt::format("standard output: could not be written to the end: {}; the "
                                  "answer is cut off, {} and ask again",
                                  std::strerror(error), remedy));
    }
}

std::string jsonString(std::string_view text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string csvField(std::string_view text)
{
    const bool blankEnds = !text.empty() && (text.front() == ' ' || text.back() == ' ');
    if (!blankEnds && text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string field = "\"";
    for (const char c : text) {
        field += c == '"' ? "\"\"" : std::string(1, c);
    }
    return field + "\"";
}

} // namespace tracewell
