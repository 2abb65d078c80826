// SPDX-License-Identifier: BSD-3-Clause

#include "search/ExpressionLexer.h"

#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace tracewell {

namespace {

constexpr int kWrongUsage = 2;
constexpr unsigned int kUnsizedBits = 32;
constexpr unsigned long long kMostBits = 1u << 20;

/// The longest first.
constexpr std::string_view kSigns[] = {
    "<<<", ">>>", "===", "!==", "==?", "!=?", "<->", "|->", "|=>", "<<", ">>", "==", "!=", "<=",
    ">=",  "&&",  "||",  "**",  "~&",  "~|",  "~^",  "^~",  "->",  "##", "+:", "-:", "::"};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The digits of a decimal number as letters, without zeros in front.
std::string lettersOfDecimal(const std::string& digits)
{
    std::string rest = digits;
    std::string letters;
    while (!rest.empty()) {
        std::string half;
        unsigned int carry = 0;
        for (const char digit : rest) {
            const unsigned int value = carry * 10 + static_cast<unsigned int>(digit - '0');
            if (!half.empty() || value / 2 != 0) {
                half += static_cast<char>('0' + value / 2);
            }
            carry = value % 2;
        }
        letters += static_cast<char>('0' + carry);
        rest = half;
    }
    std::reverse(letters.begin(), letters.end());
    const std::size_t first = letters.find('1');
    return first == std::string::npos ? "0" : letters.substr(first);
}

} // namespace

ExpressionLexer::ExpressionLexer(ExpressionText text)
    : m_expression(std::move(text)), m_text(m_expression.text)
{
    next();
}

void ExpressionText::refuse(const std::string& why, std::size_t place) const
{
    if (place >= text.size()) {
        throw Failure(fmt::format("{}: {} at the end of {}", source, why, quotation(text)),
                      kWrongUsage);
    }
    throw Failure(fmt::format("{}: {} at character {}, {}", source, why, place + 1,
                              quotation(std::string_view(text).substr(place))),
                  kWrongUsage);
}

void ExpressionLexer::skipBlanks(std::size_t& at) const
{
    while (at < m_text.size() && isBlank(m_text[at])) {
        ++at;
    }
}

void ExpressionLexer::next()
{
    skipBlanks(m_at);
    m_token = {};
    m_token.place = m_at;
    const char c = at(m_at);
    if (m_at >= m_text.size()) {
        m_token.kind = ExpressionToken::Kind::End;
    } else if (isNameStart(c) || (c == '$' && isNameStart(at(m_at + 1)))) {
        readName();
    } else if (c == '\\') {
        readEscapedName();
    } else if (c == '"') {
        readText();
    } else if (isDigit(c) || c == '\'') {
        readNumber();
    } else {
        readSign();
    }
    m_token.end = m_at;
}

void ExpressionLexer::readName()
{
    const std::size_t start = m_at++;
    while (isNameStart(at(m_at)) || isDigit(at(m_at)) || (at(m_at) == '$' && m_at > start)) {
        ++m_at;
    }
    m_token.text = m_text.substr(start, m_at - start);
    m_token.kind =
        m_token.text[0] == '$' ? ExpressionToken::Kind::Call : ExpressionToken::Kind::Name;
}

void ExpressionLexer::readEscapedName()
{
    const std::size_t start = ++m_at;
    while (m_at < m_text.size() && !isBlank(m_text[m_at])) {
        ++m_at;
    }
    m_token.text = m_text.substr(start, m_at - start);
    m_token.kind = ExpressionToken::Kind::Name;
    m_token.isEscaped = true;
    if (m_token.text.empty()) {
        refuse("a name is expected behind the backslash");
    }
}

void ExpressionLexer::readText()
{
    m_token.kind = ExpressionToken::Kind::Text;
    for (++m_at; at(m_at) != '"'; ++m_at) {
        if (m_at >= m_text.size()) {
            refuse("a text without its end begins");
        }
        if (m_text[m_at] != '\\') {
            m_token.text += m_text[m_at];
            continue;
        }
        const char escaped = at(++m_at);
        m_token.text += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
    }
    ++m_at;
}

void ExpressionLexer::readNumber()
{
    std::string digits;
    std::size_t end = m_at;
    for (; isDigit(at(end)) || (at(end) == '_' && !digits.empty()); ++end) {
        if (at(end) != '_') {
            digits += at(end);
        }
    }
    std::size_t quote = end;
    skipBlanks(quote);
    if (at(quote) == '\'') {
        const unsigned long long size =
            digits.size() > 9 ? kMostBits + 1 : std::strtoull(digits.c_str(), nullptr, 10);
        readBased(quote, size, !digits.empty());
        return;
    }
    const bool hasFraction = at(end) == '.' && isDigit(at(end + 1));
    std::size_t exponent = end;
    if (hasFraction) {
        do {
            ++exponent;
        } while (isDigit(at(exponent)) || at(exponent) == '_');
    }
    const std::size_t sign = lower(at(exponent)) == 'e' ? exponent + 1 : exponent;
    const bool hasSign = at(sign) == '+' || at(sign) == '-';
    const bool hasExponent = sign != exponent && isDigit(at(sign + (hasSign ? 1 : 0)));
    if (hasFraction || hasExponent) {
        std::size_t last = hasExponent ? sign + (hasSign ? 1 : 0) : exponent;
        while (hasExponent && isDigit(at(last))) {
            ++last;
        }
        std::string text = m_text.substr(m_at, last - m_at);
        text.erase(std::remove(text.begin(), text.end(), '_'), text.end());
        m_token.kind = ExpressionToken::Kind::Real;
        m_token.real = std::strtod(text.c_str(), nullptr);
        m_at = last;
    } else {
        const std::string letters = lettersOfDecimal(digits);
        // One more for the sign, which it has.
        const auto width =
            static_cast<unsigned int>(std::max<std::size_t>(kUnsizedBits, letters.size() + 1));
        m_token.kind = ExpressionToken::Kind::Number;
        m_token.number = FourState(width);
        m_token.number.setLetters(std::string(width - letters.size(), '0') + letters);
        m_token.isSigned = true;
        m_at = end;
    }
    if (isNameStart(at(m_at))) {
        refuse("a number ends in letters (a base is written as in 8'hff)");
    }
}

void ExpressionLexer::readBased(std::size_t quote, unsigned long long size, bool hasSize)
{
    std::size_t at = quote + 1;
    m_token.isSigned = lower(this->at(at)) == 's';
    at += m_token.isSigned ? 1 : 0;
    const char base = lower(this->at(at));
    if (!hasSize && !m_token.isSigned &&
        (base == '0' || base == '1' || base == 'x' || base == 'z')) {
        m_token.kind = ExpressionToken::Kind::Fill;
        m_token.number = FourState(1);
        m_token.number.setLetters(std::string_view(&base, 1));
        m_at = at + 1;
        return;
    }
    const unsigned int bits = base == 'b' ? 1 : base == 'o' ? 3 : base == 'h' ? 4 : 0;
    if (bits == 0 && base != 'd') {
        refuse("a base is one of b, o, d and h,");
    }
    if (hasSize && (size == 0 || size > kMostBits)) {
        refuse(fmt::format("a number has 1 to {} bits,", kMostBits));
    }
    ++at;
    skipBlanks(at);
    std::string digits;
    for (char c = lower(this->at(at));
         c == '_' || c == '?' || isDigit(c) || (c >= 'a' && c <= 'f') || c == 'x' || c == 'z';
         c = lower(this->at(++at))) {
        if (c != '_') {
            digits += c == '?' ? 'z' : c;
        }
    }
    std::string letters;
    if (bits == 0 && (digits == "x" || digits == "z")) {
        letters = digits;
    } else if (bits == 0) {
        if (!std::all_of(digits.begin(), digits.end(), isDigit)) {
            refuse("a decimal number has the digits 0 to 9, or one x or z alone,");
        }
        letters = digits.empty() ? "" : lettersOfDecimal(digits);
    } else {
        for (const char digit : digits) {
            if (digit == 'x' || digit == 'z') {
                letters.append(bits, digit);
                continue;
            }
            const int value = isDigit(digit) ? digit - '0' : digit - 'a' + 10;
            if (value >= 1 << bits) {
                refuse(fmt::format("\"{}\" is no digit of its base,", digit));
            }
            for (unsigned int bit = bits; bit-- > 0;) {
                letters += (value >> bit & 1) != 0 ? '1' : '0';
            }
        }
    }
    if (letters.empty()) {
        refuse("a number without digits stands");
    }
    if (isNameStart(this->at(at))) {
        refuse("a number ends in letters that are no digits of its base,");
    }
    const std::size_t width = hasSize ? size : std::max<std::size_t>(kUnsizedBits, letters.size());
    if (width > kMostBits) {
        refuse(fmt::format("a number has 1 to {} bits,", kMostBits));
    }
    const char filling = letters[0] == 'x' || letters[0] == 'z' ? letters[0] : '0';
    m_token.isOpenEnded = !hasSize && filling != '0';
    letters = letters.size() > width ? letters.substr(letters.size() - width)
                                     : std::string(width - letters.size(), filling) + letters;
    m_token.kind = ExpressionToken::Kind::Number;
    m_token.number = FourState(static_cast<unsigned int>(width));
    m_token.number.setLetters(letters);
    m_at = at;
}

void ExpressionLexer::readSign()
{
    m_token.kind = ExpressionToken::Kind::Sign;
    for (const std::string_view sign : kSigns) {
        if (m_text.compare(m_at, sign.size(), sign) == 0) {
            m_token.text = sign;
            m_at += sign.size();
            return;
        }
    }
    if (std::string_view("()[]{}.,?:+-*/%<>!~&|^$@#").find(m_text[m_at]) ==
        std::string_view::npos) {
        refuse("nothing is known of what stands");
    }
    m_token.text = m_text[m_at++];
}

} // namespace tracewell
