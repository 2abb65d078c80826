// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ValueText.h"

#include "text/Message.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tracewell {

namespace {

template <class T> T readAs(const std::vector<unsigned char>& bytes, std::size_t offset)
{
    T value{};
    if (offset + sizeof value <= bytes.size()) {
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    }
    return value;
}

/// The one letter of a digit's bits when they do not make a number.
char mixedDigit(std::string_view bits)
{
    if (bits.find_first_not_of(bits[0]) == std::string_view::npos) {
        return bits[0];
    }
    return bits.find_first_not_of("01lhz") != std::string_view::npos ? 'X' : 'Z';
}

bool allOf(std::string_view bits, const char* letters)
{
    return bits.find_first_not_of(letters) == std::string_view::npos;
}

char digitOf(std::string_view bits)
{
    const bool weakAlone = bits[0] != '0' && bits[0] != '1' && allOf(bits, "lh") &&
                           bits.find_first_not_of(bits[0]) == std::string_view::npos;
    if (weakAlone || !allOf(bits, "01lh")) {
        return mixedDigit(bits);
    }
    unsigned int value = 0;
    for (const char bit : bits) {
        value = value * 2 + (bit == '1' || bit == 'h' ? 1 : 0);
    }
    return "0123456789abcdef"[value];
}

std::string groupDigits(std::string_view letters, std::size_t bitsInDigit)
{
    std::string digits;
    std::size_t first = letters.size() % bitsInDigit;
    if (first > 0) {
        digits += digitOf(letters.substr(0, first));
    }
    for (; first < letters.size(); first += bitsInDigit) {
        digits += digitOf(letters.substr(first, bitsInDigit));
    }
    return digits;
}

/// Decimal digits of a number of any length, given as 0 and 1.
std::string decimalOf(std::string_view bits)
{
    constexpr std::uint64_t kLimb = 1000000000;
    constexpr std::size_t kChunk = 32;
    std::vector<std::uint64_t> limbs{0};
    for (std::size_t at = 0; at < bits.size();) {
        const std::size_t taken = std::min(kChunk, bits.size() - at);
        std::uint64_t carry = 0;
        for (const char bit : bits.substr(at, taken)) {
            carry = carry * 2 + (bit == '1' ? 1 : 0);
        }
        at += taken;
        for (std::uint64_t& limb : limbs) {
            const std::uint64_t value = (limb << taken) + carry;
            limb = value % kLimb;
            carry = value / kLimb;
        }
        for (; carry > 0; carry /= kLimb) {
            limbs.push_back(carry % kLimb);
        }
    }
    std::string text = std::to_string(limbs.back());
    for (std::size_t i = limbs.size() - 1; i-- > 0;) {
        text += fmt::format("{:09}", limbs[i]);
    }
    return text;
}

std::string formatDecimal(std::string_view letters, bool isSigned)
{
    if (!allOf(letters, "01")) {
        return std::string(1, mixedDigit(letters));
    }
    if (!isSigned || letters[0] == '0' || letters.size() == 1) {
        return decimalOf(letters);
    }
    // The magnitude of a negative number: inverted, plus one.
    std::string bits(letters);
    for (char& bit : bits) {
        bit = bit == '0' ? '1' : '0';
    }
    std::size_t at = bits.size();
    while (at > 0 && bits[at - 1] == '1') {
        bits[--at] = '0';
    }
    if (at > 0) {
        bits[at - 1] = '1';
    } else {
        bits.insert(bits.begin(), '1');
    }
    return "-" + decimalOf(bits);
}

std::string inQuotes(const std::string& text)
{
    std::string result = "\"";
    for (const char c : text) {
        switch (c) {
        case '\n':
            result += "\\n";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\r':
            result += "\\r";
            break;
        case '"':
            result += "\\\"";
            break;
        default:
            result += c;
        }
    }
    return printable(result + "\"");
}

/// Eight bits a character, from the right; what is no character of ASCII is a "." and what is not
/// known a "?". Zero bytes in front are no part of the text.
std::string formatAscii(std::string_view letters)
{
    constexpr std::size_t kBitsOfCharacter = 8;
    std::string text;
    std::size_t end = letters.size() % kBitsOfCharacter;
    end = end == 0 ? kBitsOfCharacter : end;
    for (std::size_t at = 0; at < letters.size(); at = end, end += kBitsOfCharacter) {
        const std::string_view bits = letters.substr(at, end - at);
        unsigned int code = 0;
        for (const char bit : bits) {
            code = code * 2 + (bit == '1' || bit == 'h' ? 1 : 0);
        }
        if (!allOf(bits, "01lh")) {
            text += '?';
        } else if (code != 0 || !text.empty()) {
            text += code >= ' ' && code <= '~' ? static_cast<char>(code) : '.';
        }
    }
    return "\"" + text + "\"";
}

} // namespace

std::string ValueText::format(const Signal& signal, const SignalState& state) const
{
    if (state.kind == SignalState::Kind::Dense) {
        return std::string(kDenseMark);
    }
    if (state.kind == SignalState::Kind::Blank) {
        return {};
    }
    const std::string bits = letters(signal, state);
    if (!bits.empty()) {
        const std::string* const name = nameOf(signal, bits);
        return name != nullptr ? printable(*name) : formatLetters(bits, radixOf(signal));
    }
    if (state.override.kind != 0) {
        const std::string text = textOf(state.override);
        return state.override.kind == 's' ? inQuotes(text) : printable(text);
    }
    if (signal.valueKind->isText()) {
        const auto reference = readAs<TextReference>(state.plain, 0);
        const std::string text = textOf(reference);
        // A piece is never empty; this text is not in the file.
        return text.empty() && reference.pieces > 0 ? std::string("?") : inQuotes(text);
    }
    return signal.valueKind->show(state.plainValue());
}

const std::string* ValueText::nameOf(const Signal& signal, std::string_view letters)
{
    return signal.enumeration != nullptr && signal.radix == Radix::Automatic
               ? signal.enumeration->find(letters)
               : nullptr;
}

std::string ValueText::letters(const Signal& signal, const SignalState& state) const
{
    if (!signal.valueKind->hasBits() || state.kind != SignalState::Kind::Value) {
        return {};
    }
    if (!state.letters.empty()) {
        return widen(state.letters, signal.width);
    }
    if (state.override.kind == 'b') {
        if (!signal.sharesBytes()) {
            return widen(textOf(state.override), signal.width);
        }
        const std::string whole = widen(textOf(state.override), signal.wholeWidth);
        return whole.substr(signal.wholeWidth - signal.firstOfWhole - signal.width, signal.width);
    }
    if (state.override.kind != 0 || state.plain.empty()) {
        return {};
    }
    return signal.valueKind->letters(state.plainValue(), signal.bitsBefore + signal.width)
        .substr(0, signal.width);
}

std::optional<double> ValueText::number(const Signal& signal, const SignalState& state) const
{
    if (state.kind != SignalState::Kind::Value) {
        return std::nullopt;
    }
    const std::string bits = letters(signal, state);
    if (!bits.empty() && allOf(bits, "01lh")) {
        double value = 0;
        for (const char bit : bits) {
            value = value * 2 + (bit == '1' || bit == 'h' ? 1 : 0);
        }
        const bool isNegative =
            radixOf(signal) == Radix::Signed && (bits[0] == '1' || bits[0] == 'h');
        return isNegative ? value - std::ldexp(1.0, static_cast<int>(bits.size())) : value;
    }
    if (!bits.empty() || state.override.kind != 0) {
        return std::nullopt;
    }
    return signal.valueKind->number(state.plainValue());
}

std::string ValueText::widen(std::string letters, unsigned int width)
{
    std::transform(letters.begin(), letters.end(), letters.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (letters.size() >= width) {
        return letters.substr(letters.size() - width);
    }
    const char fill = letters.empty() || letters[0] == '1' ? '0' : letters[0];
    return std::string(width - letters.size(), fill) + letters;
}

std::string ValueText::formatLetters(std::string_view letters, Radix radix)
{
    if (letters.size() <= 1) {
        return std::string(letters);
    }
    switch (radix) {
    case Radix::Binary:
        return std::string(letters);
    case Radix::Octal:
        return groupDigits(letters, 3);
    case Radix::Decimal:
        return formatDecimal(letters, false);
    case Radix::Signed:
        return formatDecimal(letters, true);
    case Radix::Ascii:
        return formatAscii(letters);
    case Radix::Automatic:
    case Radix::Hexadecimal:
        break;
    }
    return groupDigits(letters, 4);
}

std::string ValueText::textOf(const TextReference& reference) const
{
    std::string text;
    for (unsigned int i = 0; i < reference.pieces; ++i) {
        const std::string piece = m_lookup(static_cast<long long>(reference.firstId) + i);
        if (piece.empty()) {
            break;
        }
        text += piece;
    }
    return text;
}

std::optional<Radix> ValueText::findRadix(std::string_view word)
{
    static constexpr std::pair<std::string_view, Radix> kRadices[] = {
        {"auto", Radix::Automatic}, {"bin", Radix::Binary},    {"oct", Radix::Octal},
        {"dec", Radix::Decimal},    {"signed", Radix::Signed}, {"hex", Radix::Hexadecimal},
        {"ascii", Radix::Ascii}};
    for (const auto& [name, radix] : kRadices) {
        if (name == word) {
            return radix;
        }
    }
    return std::nullopt;
}

Radix ValueText::radixOf(const Signal& signal)
{
    const bool isSigned = signal.isSigned;
    switch (signal.radix) {
    case Radix::Automatic:
        return isSigned                ? Radix::Signed
               : signal.kind == "time" ? Radix::Decimal
                                       : Radix::Hexadecimal;
    case Radix::Decimal:
        return isSigned ? Radix::Signed : Radix::Decimal;
    default:
        return signal.radix;
    }
}

} // namespace tracewell
