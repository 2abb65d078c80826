// SPDX-License-Identifier: BSD-3-Clause

#include "text/Utf8.h"

#include <algorithm>

namespace tracewell {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "…";

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0u) == 0x80;
}

/// Bytes of the character at the start of `text`; 0 when there is none that is well formed and
/// printable.
std::size_t printableLength(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    unsigned int code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
    }
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool noCharacter = code > 0x10FFFF || (code & 0xFFFEu) == 0xFFFE;
    const bool control = code < 0xA0;
    // Marks that turn the direction of what follows would reorder a line of output.
    const bool direction = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    const bool lineBreak = code == 0x2028 || code == 0x2029;
    return overlong || surrogate || noCharacter || control || direction || lineBreak ? 0 : length;
}

unsigned int codeOf(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    unsigned int code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < std::min(length, text.size()); ++i) {
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
    }
    return code;
}

/// Of the character at the start of `text`.
std::size_t placesOf(std::string_view text)
{
    struct Range
    {
        unsigned int first;
        unsigned int last;
    };
    static constexpr Range kMarks[] = {
        {0x300, 0x36F}, {0x1AB0, 0x1AFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
    static constexpr Range kWide[] = {{0x1100, 0x115F},  {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                                      {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                                      {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF},
                                      {0x20000, 0x3FFFD}};
    const unsigned int code = codeOf(text);
    const auto isIn = [code](const Range& range) {
        return code >= range.first && code <= range.last;
    };
    if (std::any_of(std::begin(kMarks), std::end(kMarks), isIn)) {
        return 0;
    }
    return std::any_of(std::begin(kWide), std::end(kWide), isIn) ? 2 : 1;
}

} // namespace

std::string printable(std::string_view text)
{
    if (isPlainText(text)) {
        return std::string(text);
    }
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = printableLength(text);
        result += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

bool isPlainText(std::string_view text)
{
    // Without a way out, so that many bytes go at a time.
    bool isPlain = true;
    for (const char c : text) {
        isPlain &= static_cast<unsigned char>(c - ' ') < 0x7F - ' ';
    }
    return isPlain;
}

std::vector<std::string_view> charactersOf(std::string_view text)
{
    std::vector<std::string_view> characters;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        while (end < text.size() &&
               (isContinuation(text[end]) || placesOf(text.substr(end)) == 0)) {
            ++end;
        }
        characters.push_back(text.substr(at, end - at));
        at = end;
    }
    return characters;
}

std::size_t characterCount(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        count += isContinuation(text[i]) ? 0 : placesOf(text.substr(i));
    }
    return count;
}

std::string cutEnd(std::string_view text, std::size_t limit)
{
    if (characterCount(text) <= limit) {
        return std::string(text);
    }
    if (limit == 0) {
        return {};
    }
    std::string kept;
    std::size_t taken = 1;
    for (const std::string_view character : charactersOf(text)) {
        taken += characterCount(character);
        if (taken > limit) {
            break;
        }
        kept += character;
    }
    return kept + std::string(kEllipsis);
}

std::string cutStart(std::string_view text, std::size_t limit)
{
    if (characterCount(text) <= limit) {
        return std::string(text);
    }
    if (limit == 0) {
        return {};
    }
    const std::vector<std::string_view> characters = charactersOf(text);
    std::size_t taken = 1;
    std::size_t first = characters.size();
    while (first > 0 && taken + characterCount(characters[first - 1]) <= limit) {
        taken += characterCount(characters[--first]);
    }
    const std::size_t start = first < characters.size()
                                  ? static_cast<std::size_t>(characters[first].data() - text.data())
                                  : text.size();
    return std::string(kEllipsis) + std::string(text.substr(start));
}

} // namespace tracewell
