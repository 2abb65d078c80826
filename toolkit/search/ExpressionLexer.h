// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/FourState.h"

#include <string>
#include <string_view>

namespace tracewell {

struct ExpressionToken
{
    enum class Kind { End, Number, Fill, Real, Text, Name, Call, Sign };

    Kind kind = Kind::End;
    /// A name without the backslash of an escaped one, a call with its $, a sign as it is, a text
    /// without quotes.
    std::string text;
    bool isEscaped = false;
    FourState number;
    bool isSigned = false;
    bool isOpenEnded = false;
    double real = 0;
    /// Where it begins and ends in the expression.
    std::size_t place = 0;
    std::size_t end = 0;
};

/// An expression as somebody wrote it, and the option or argument that it was given by.
struct ExpressionText
{
    std::string text;
    std::string source;

    /// \throws Failure for wrong usage: "SOURCE: WHY at character N, \"...\"".
    [[noreturn]] void refuse(const std::string& why, std::size_t place) const;
};

/// Cuts an expression into words as SystemVerilog has them.
class ExpressionLexer
{
public:
    explicit ExpressionLexer(ExpressionText text);

    /// The token at hand.
    const ExpressionToken& token() const { return m_token; }
    void next();
    bool isSign(std::string_view sign) const
    {
        return m_token.kind == ExpressionToken::Kind::Sign && m_token.text == sign;
    }
    bool isWord(std::string_view word) const
    {
        return m_token.kind == ExpressionToken::Kind::Name && !m_token.isEscaped &&
               m_token.text == word;
    }
    /// Whether `text` stands right behind the token at hand.
    bool isFollowedBy(std::string_view text) const
    {
        return m_text.compare(m_token.end, text.size(), text) == 0;
    }
    std::string_view textBetween(std::size_t begin, std::size_t end) const
    {
        return std::string_view(m_text).substr(begin, end - begin);
    }

    /// \throws as ExpressionText::refuse, of the token at hand.
    [[noreturn]] void refuse(const std::string& why) const
    {
        m_expression.refuse(why, m_token.place);
    }

private:
    char at(std::size_t index) const { return index < m_text.size() ? m_text[index] : '\0'; }
    void skipBlanks(std::size_t& at) const;
    void readName();
    void readEscapedName();
    void readText();
    void readNumber();
    void readBased(std::size_t quote, unsigned long long size, bool hasSize);
    void readSign();

    const ExpressionText m_expression;
    const std::string& m_text;
    std::size_t m_at = 0;
    ExpressionToken m_token;
};

} // namespace tracewell
