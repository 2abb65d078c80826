// SPDX-License-Identifier: BSD-3-Clause

#include "text/Message.h"

#include "text/Utf8.h"

#include <fmt/format.h>

#include <iostream>

namespace tracewell {

void tell(std::string_view line)
{
    std::cerr << "tracewell: " + printable(line) + "\n" << std::flush;
}

std::string quotation(std::string_view text)
{
    constexpr std::size_t kMostCharacters = 100;
    return "\"" + cutEnd(printable(text), kMostCharacters) + "\"";
}

std::string inQuotes(std::string_view text)
{
    constexpr std::size_t kShown = 40;
    std::string out = "\"";
    for (const char c : text.substr(0, kShown)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f || c == '"' || c == '\\') {
            out += fmt::format("\\x{:02x}", static_cast<unsigned int>(byte));
        } else {
            out += c;
        }
    }
    return out + (text.size() > kShown ? "...\"" : "\"");
}

} // namespace tracewell
