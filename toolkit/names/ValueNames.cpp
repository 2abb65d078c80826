// SPDX-License-Identifier: BSD-3-Clause

#include "names/ValueNames.h"

#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

namespace tracewell {

namespace {

constexpr std::string_view kBlanks = " \t\r";

struct Line
{
    unsigned long long number;
    std::string_view first;
    std::string_view last;
};

/// The bits of a digit, four or fewer letters; none for what is no digit.
std::optional<std::string> bitsOf(char digit, unsigned int bits)
{
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    if (c == 'x' || c == 'z') {
        return std::string(bits, c);
    }
    const int number = c >= '0' && c <= '9'   ? c - '0'
                       : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                              : 1 << bits;
    if (number >= 1 << bits) {
        return std::nullopt;
    }
    std::string letters;
    for (unsigned int bit = bits; bit-- > 0;) {
        letters += (number >> bit & 1) != 0 ? '1' : '0';
    }
    return letters;
}

std::optional<std::string> lettersOfDigits(std::string_view digits, unsigned int bits)
{
    std::string letters;
    for (const char digit : digits) {
        if (digit == '_') {
            continue;
        }
        const std::optional<std::string> part = bitsOf(digit, bits);
        if (!part) {
            return std::nullopt;
        }
        letters += *part;
    }
    return letters.empty() ? std::nullopt : std::optional(letters);
}

/// Of any length: divided by two until nothing is left.
std::optional<std::string> lettersOfDecimal(std::string digits)
{
    constexpr std::size_t kLongest = 100;
    if (digits.empty() || digits.size() > kLongest ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    std::string letters;
    while (digits.find_first_not_of('0') != std::string::npos) {
        int rest = 0;
        for (char& digit : digits) {
            const int number = 10 * rest + (digit - '0');
            digit = static_cast<char>('0' + number / 2);
            rest = number % 2;
        }
        letters += static_cast<char>('0' + rest);
    }
    std::reverse(letters.begin(), letters.end());
    return letters.empty() ? "0" : letters;
}

std::optional<std::string> lettersOf(std::string_view value, bool isPlainHexadecimal)
{
    constexpr unsigned int kHexadecimal = 4;
    const std::size_t quote = value.find('\'');
    std::string_view base = value.substr(0, 2);
    std::string_view digits = value.substr(std::min<std::size_t>(2, value.size()));
    if (quote != std::string_view::npos && quote + 1 < value.size()) {
        base = value.substr(quote, 2);
        digits = value.substr(quote + 2);
    }
    if (base == "0x" || base == "0X" || base == "'h" || base == "'H") {
        return lettersOfDigits(digits, kHexadecimal);
    }
    if (base == "0b" || base == "0B" || base == "'b" || base == "'B") {
        return lettersOfDigits(digits, 1);
    }
    if (base == "'d" || base == "'D") {
        return lettersOfDecimal(std::string(digits));
    }
    return isPlainHexadecimal ? lettersOfDigits(value, kHexadecimal)
                              : lettersOfDecimal(std::string(value));
}

std::vector<Line> linesOf(std::string_view text, const std::string& place)
{
    std::vector<Line> lines;
    unsigned long long number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string_view line = text.substr(at, end - at);
        at = end + 1;
        ++number;
        line = line.substr(0, line.find('#'));
        const std::size_t start = line.find_first_not_of(kBlanks);
        if (start == std::string_view::npos) {
            continue;
        }
        line = line.substr(start, line.find_last_not_of(kBlanks) + 1 - start);
        const std::size_t firstEnd = line.find_first_of(kBlanks);
        if (firstEnd == std::string_view::npos) {
            throw Failure(fmt::format("{}: line {}: {} stands alone; write NAME VALUE", place,
                                      number, inQuotes(line)));
        }
        // A name may have several words where the value comes first.
        lines.push_back({number, line.substr(0, firstEnd),
                         line.substr(line.find_first_not_of(kBlanks, firstEnd))});
    }
    return lines;
}

} // namespace

Enumeration readValueNames(std::string_view text, const std::string& place)
{
    const std::vector<Line> lines = linesOf(text, place);
    const bool isValueFirst =
        !lines.empty() &&
        std::all_of(lines.begin(), lines.end(),
                    [](const Line& line) { return lettersOf(line.first, true).has_value(); }) &&
        std::none_of(lines.begin(), lines.end(),
                     [](const Line& line) { return lettersOf(line.last, false).has_value(); });
    Enumeration names;
    for (const Line& line : lines) {
        const std::string_view value = isValueFirst ? line.first : line.last;
        const std::optional<std::string> letters = lettersOf(value, isValueFirst);
        if (!letters) {
            throw Failure(fmt::format("{}: line {}: {} is no value; write NAME VALUE, the value as "
                                      "5, 0x1f or 0b10x",
                                      place, line.number, inQuotes(value)));
        }
        names.add(*letters, isValueFirst ? line.last : line.first);
    }
    if (lines.empty()) {
        throw Failure(fmt::format("{}: names no value; write NAME VALUE, a line each", place));
    }
    return names;
}

} // namespace tracewell
