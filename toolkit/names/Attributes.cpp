// SPDX-License-Identifier: BSD-3-Clause

#include "names/Attributes.h"

#include <fmt/format.h>

#include <charconv>
#include <iterator>
#include <system_error>

namespace tracewell {

std::string attributeWord(std::string_view name)
{
    // A word that is empty would be none, and "$end" would end the attribute.
    std::string word;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c <= ' ' || c > '~' || c == '\\' || c == '"' || (c == '$' && i == 0)) {
            fmt::format_to(std::back_inserter(word), "\\x{:02x}", static_cast<unsigned char>(c));
        } else {
            word += c;
        }
    }
    return word.empty() ? "\\x00" : word;
}

std::string nameOfWord(std::string_view word)
{
    constexpr std::size_t kEscape = 4;
    std::string name;
    for (std::size_t i = 0; i < word.size(); ++i) {
        unsigned char byte = 0;
        const char* const digits = word.data() + i + 2;
        if (word.size() - i >= kEscape && word[i] == '\\' && word[i + 1] == 'x' &&
            std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            name.append(byte == 0 ? 0 : 1, static_cast<char>(byte));
            i += kEscape - 1;
        } else {
            name += word[i];
        }
    }
    return name;
}

} // namespace tracewell
