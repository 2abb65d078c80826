#include "text/Utf8.h"

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

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = printableLength(text);
        result += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

std::size_t characterCount(std::string_view text)
{
    std::size_t count = 0;
    for (const char c : text) {
        count += isContinuation(c) ? 0 : 1;
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
    std::size_t end = 0;
    for (std::size_t kept = 0; end < text.size(); ++end) {
        if (!isContinuation(text[end]) && kept++ == limit - 1) {
            break;
        }
    }
    return std::string(text.substr(0, end)) + std::string(kEllipsis);
}

std::string cutStart(std::string_view text, std::size_t limit)
{
    const std::size_t count = characterCount(text);
    if (count <= limit) {
        return std::string(text);
    }
    if (limit == 0) {
        return {};
    }
    std::size_t start = 0;
    for (std::size_t dropped = 0; start < text.size(); ++start) {
        if (!isContinuation(text[start]) && dropped++ == count - (limit - 1)) {
            break;
        }
    }
    return std::string(kEllipsis) + std::string(text.substr(start));
}

} // namespace tracewell
