// SPDX-License-Identifier: BSD-3-Clause

#include "search/ExpressionParser.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace tracewell {

namespace {

using Kind = ExpressionTree::Kind;
using TokenKind = ExpressionToken::Kind;

constexpr int kDeepest = 1000;
constexpr int kMostLinks = 1000;
constexpr unsigned long long kNoEnd = std::numeric_limits<unsigned long long>::max();

struct BinarySign
{
    std::string_view sign;
    int precedence;
};

/// The loosest first.
constexpr BinarySign kBinarySigns[] = {
    {"||", 2}, {"&&", 3}, {"|", 4},   {"^", 5},   {"~^", 5},  {"^~", 5},  {"&", 6},
    {"==", 7}, {"!=", 7}, {"===", 7}, {"!==", 7}, {"==?", 7}, {"!=?", 7}, {"<", 8},
    {"<=", 8}, {">", 8},  {">=", 8},  {"<<", 9},  {">>", 9},  {"<<<", 9}, {">>>", 9},
    {"+", 10}, {"-", 10}, {"*", 11},  {"/", 11},  {"%", 11},  {"**", 12}};
constexpr int kInsidePrecedence = 8;
constexpr std::string_view kUnarySigns[] = {"+", "-",  "!", "~",  "&", "~&",
                                            "|", "~|", "^", "~^", "^~"};

class Parser
{
public:
    explicit Parser(const ExpressionText& text) : m_lexer(text) {}

    SequenceTree sequence();
    EventTree event();

private:
    /// Bounds how deep the parts of an expression lie in each other, and with it the stack.
    struct Nesting
    {
        explicit Nesting(Parser& of) : parser(of)
        {
            if (++parser.m_depth > kDeepest) {
                parser.m_lexer.refuse("too many parts lie in each other");
            }
        }
        Nesting(const Nesting&) = delete;
        ~Nesting() { --parser.m_depth; }
        Parser& parser;
    };

    TreePointer make(Kind kind);
    TreePointer expression();
    TreePointer implication();
    TreePointer conditional();
    TreePointer binary(int precedence);
    TreePointer junction(TreePointer first, const BinarySign& sign);
    void countLink();
    TreePointer unary();
    TreePointer primary();
    TreePointer braces();
    TreePointer name();
    TreePointer select();
    TreePointer call();
    void insideList(ExpressionTree& tree);
    TreePointer bound();
    unsigned long long count();
    void delay(SequenceTree::Element& element);
    EventTree::Term term();
    void expect(std::string_view sign);
    bool take(std::string_view sign);

    ExpressionLexer m_lexer;
    int m_depth = 0;
    int m_links = 0;
};

TreePointer Parser::make(Kind kind)
{
    auto tree = std::make_unique<ExpressionTree>();
    tree->kind = kind;
    tree->place = m_lexer.token().place;
    return tree;
}

void Parser::expect(std::string_view sign)
{
    if (!take(sign)) {
        m_lexer.refuse("\"" + std::string(sign) + "\" is expected");
    }
}

bool Parser::take(std::string_view sign)
{
    if (!m_lexer.isSign(sign)) {
        return false;
    }
    m_lexer.next();
    return true;
}

SequenceTree Parser::sequence()
{
    SequenceTree tree;
    tree.elements.emplace_back();
    if (!m_lexer.isSign("##")) {
        tree.elements.back().condition = expression();
    } else {
        m_lexer.refuse("a condition is expected in front of ##");
    }
    while (take("##")) {
        SequenceTree::Element element;
        delay(element);
        element.condition = expression();
        tree.elements.push_back(std::move(element));
    }
    if (m_lexer.isSign("|->") || m_lexer.isSign("|=>")) {
        m_lexer.refuse("implications are asked for with --within; nothing is known of what "
                       "stands");
    }
    if (m_lexer.token().kind != TokenKind::End) {
        m_lexer.refuse("an operator is expected");
    }
    return tree;
}

void Parser::delay(SequenceTree::Element& element)
{
    if (!take("[")) {
        element.least = element.most = count();
        return;
    }
    if (m_lexer.isSign("*") || m_lexer.isSign("+")) {
        element.least = m_lexer.isSign("+") ? 1 : 0;
        element.most = kNoEnd;
        m_lexer.next();
    } else {
        element.least = count();
        expect(":");
        element.most = take("$") ? kNoEnd : count();
    }
    if (element.most < element.least) {
        m_lexer.refuse("a range of delays goes up, as in ##[1:5]; one that goes down ends");
    }
    expect("]");
}

unsigned long long Parser::count()
{
    constexpr long long kMost = 1'000'000'000;
    const std::optional<long long> number = m_lexer.token().kind == TokenKind::Number
                                                ? m_lexer.token().number.number(false)
                                                : std::nullopt;
    if (!number || *number < 0 || *number > kMost) {
        m_lexer.refuse("a number of samples is expected, as in ##2 or ##[1:5],");
    }
    m_lexer.next();
    return static_cast<unsigned long long>(*number);
}

EventTree Parser::event()
{
    EventTree tree;
    const bool isAt = take("@");
    const bool isEnclosed = isAt && take("(");
    do {
        tree.terms.push_back(term());
        if (m_lexer.isWord("or")) {
            m_lexer.next();
        } else if (!take(",")) {
            break;
        }
    } while (true);
    if (isEnclosed) {
        expect(")");
    }
    if (m_lexer.token().kind != TokenKind::End) {
        m_lexer.refuse("iff, or, or an operator is expected");
    }
    return tree;
}

EventTree::Term Parser::term()
{
    constexpr std::pair<std::string_view, EventTree::Edge> kEdges[] = {
        {"posedge", EventTree::Edge::Rising},
        {"negedge", EventTree::Edge::Falling},
        {"edge", EventTree::Edge::Both}};
    EventTree::Term term;
    for (const auto& [word, edge] : kEdges) {
        if (m_lexer.isWord(word)) {
            term.edge = edge;
            m_lexer.next();
            break;
        }
    }
    term.expression = expression();
    if (m_lexer.isWord("iff")) {
        m_lexer.next();
        term.condition = expression();
    }
    return term;
}

TreePointer Parser::expression()
{
    Nesting nesting(*this);
    return implication();
}

/// Binds looser than all others, and to the right.
TreePointer Parser::implication()
{
    TreePointer left = conditional();
    if (!m_lexer.isSign("->") && !m_lexer.isSign("<->")) {
        return left;
    }
    Nesting nesting(*this);
    TreePointer tree = make(Kind::Binary);
    tree->text = m_lexer.token().text;
    m_lexer.next();
    tree->operands.push_back(std::move(left));
    tree->operands.push_back(expression());
    return tree;
}

TreePointer Parser::conditional()
{
    Nesting nesting(*this);
    TreePointer condition = binary(2);
    if (!m_lexer.isSign("?")) {
        return condition;
    }
    TreePointer tree = make(Kind::Conditional);
    m_lexer.next();
    tree->operands.push_back(std::move(condition));
    tree->operands.push_back(expression());
    expect(":");
    tree->operands.push_back(conditional());
    return tree;
}

TreePointer Parser::binary(int precedence)
{
    TreePointer left = unary();
    for (;;) {
        if (m_lexer.isWord("inside") && kInsidePrecedence >= precedence) {
            TreePointer tree = make(Kind::Inside);
            m_lexer.next();
            countLink();
            tree->operands.push_back(std::move(left));
            insideList(*tree);
            left = std::move(tree);
            continue;
        }
        const auto* const sign =
            std::find_if(std::begin(kBinarySigns), std::end(kBinarySigns),
                         [&](const BinarySign& entry) { return m_lexer.isSign(entry.sign); });
        if (sign == std::end(kBinarySigns) || sign->precedence < precedence) {
            return left;
        }
        if (sign->sign == "||" || sign->sign == "&&") {
            left = junction(std::move(left), *sign);
            continue;
        }
        TreePointer tree = make(Kind::Binary);
        tree->text = sign->sign;
        m_lexer.next();
        countLink();
        tree->operands.push_back(std::move(left));
        tree->operands.push_back(binary(sign->precedence + 1));
        left = std::move(tree);
    }
}

/// a || b || c ...: conditions are made by programs, of thousands of terms, so that halves are
/// joined and not one term after the other.
TreePointer Parser::junction(TreePointer first, const BinarySign& sign)
{
    std::vector<TreePointer> terms;
    std::vector<TreePointer> joints;
    terms.push_back(std::move(first));
    while (m_lexer.isSign(sign.sign)) {
        joints.push_back(make(Kind::Binary));
        joints.back()->text = sign.sign;
        m_lexer.next();
        terms.push_back(binary(sign.precedence + 1));
    }
    // Joint i stands in front of term i + 1.
    for (std::size_t width = 1; width < terms.size(); width *= 2) {
        for (std::size_t i = 0; i + width < terms.size(); i += 2 * width) {
            TreePointer& joint = joints[i + width - 1];
            joint->operands.push_back(std::move(terms[i]));
            joint->operands.push_back(std::move(terms[i + width]));
            terms[i] = std::move(joint);
        }
    }
    return std::move(terms.front());
}

/// A chain is as deep as it is long, and is gone through from its end.
void Parser::countLink()
{
    if (++m_links > kMostLinks) {
        m_lexer.refuse("too many operators follow each other");
    }
}

TreePointer Parser::unary()
{
    const bool isUnary = std::any_of(std::begin(kUnarySigns), std::end(kUnarySigns),
                                     [&](std::string_view sign) { return m_lexer.isSign(sign); });
    if (!isUnary) {
        return primary();
    }
    Nesting nesting(*this);
    TreePointer tree = make(Kind::Unary);
    tree->text = m_lexer.token().text;
    m_lexer.next();
    tree->operands.push_back(unary());
    return tree;
}

TreePointer Parser::primary()
{
    const ExpressionToken& token = m_lexer.token();
    if (token.kind == TokenKind::Name && !m_lexer.isWord("inside") && !m_lexer.isWord("iff") &&
        !m_lexer.isWord("or")) {
        return name();
    }
    if (token.kind == TokenKind::Call) {
        return call();
    }
    if (m_lexer.isSign("{")) {
        return braces();
    }
    if (take("(")) {
        TreePointer tree = expression();
        expect(")");
        return tree;
    }
    constexpr std::pair<TokenKind, Kind> kLiterals[] = {{TokenKind::Number, Kind::Number},
                                                        {TokenKind::Fill, Kind::Fill},
                                                        {TokenKind::Real, Kind::Real},
                                                        {TokenKind::Text, Kind::Text}};
    for (const auto& [tokenKind, kind] : kLiterals) {
        if (token.kind == tokenKind) {
            TreePointer tree = make(kind);
            tree->text = token.text;
            tree->number = token.number;
            tree->isSigned = token.isSigned;
            tree->isOpenEnded = token.isOpenEnded;
            tree->real = token.real;
            m_lexer.next();
            return tree;
        }
    }
    m_lexer.refuse("a signal, a number or a parenthesis is expected");
}

/// {a, b} and {3{a}}.
TreePointer Parser::braces()
{
    Nesting nesting(*this);
    TreePointer tree = make(Kind::Concatenation);
    m_lexer.next();
    tree->operands.push_back(expression());
    if (m_lexer.isSign("{")) {
        tree->kind = Kind::Replication;
        tree->operands.push_back(braces());
    } else {
        while (take(",")) {
            tree->operands.push_back(expression());
        }
    }
    expect("}");
    return tree;
}

/// A hierarchical name: brackets in front of a "." are part of it.
TreePointer Parser::name()
{
    TreePointer tree = make(Kind::Name);
    tree->text = m_lexer.token().text;
    m_lexer.next();
    for (;;) {
        if (m_lexer.isSign("[")) {
            tree->operands.push_back(select());
        } else if (m_lexer.isSign(".") || m_lexer.isSign("::")) {
            for (const TreePointer& index : tree->operands) {
                tree->text += index->source;
            }
            tree->operands.clear();
            const std::string joint = m_lexer.token().text;
            m_lexer.next();
            if (m_lexer.token().kind != TokenKind::Name) {
                m_lexer.refuse("a name is expected behind \"" + joint + "\",");
            }
            tree->text += joint + m_lexer.token().text;
            m_lexer.next();
        } else {
            return tree;
        }
    }
}

TreePointer Parser::select()
{
    TreePointer tree = make(Kind::Bit);
    const std::size_t begin = m_lexer.token().place;
    m_lexer.next();
    tree->operands.push_back(expression());
    constexpr std::pair<std::string_view, Kind> kParts[] = {
        {":", Kind::Part}, {"+:", Kind::PartUp}, {"-:", Kind::PartDown}};
    for (const auto& [sign, kind] : kParts) {
        if (take(sign)) {
            tree->kind = kind;
            tree->operands.push_back(expression());
            break;
        }
    }
    const std::size_t end = m_lexer.token().end;
    expect("]");
    for (const char c : m_lexer.textBetween(begin, end)) {
        if (c != ' ') {
            tree->source += c;
        }
    }
    return tree;
}

TreePointer Parser::call()
{
    TreePointer tree = make(Kind::Call);
    tree->text = m_lexer.token().text;
    m_lexer.next();
    if (take("(")) {
        do {
            tree->operands.push_back(expression());
        } while (take(","));
        expect(")");
    }
    return tree;
}

/// {a, [b:c], [d:$]}
void Parser::insideList(ExpressionTree& tree)
{
    expect("{");
    do {
        if (!m_lexer.isSign("[")) {
            tree.operands.push_back(expression());
            continue;
        }
        TreePointer range = make(Kind::Range);
        m_lexer.next();
        range->operands.push_back(bound());
        expect(":");
        range->operands.push_back(bound());
        expect("]");
        tree.operands.push_back(std::move(range));
    } while (take(","));
    expect("}");
}

TreePointer Parser::bound()
{
    if (!m_lexer.isSign("$")) {
        return expression();
    }
    TreePointer tree = make(Kind::Open);
    m_lexer.next();
    return tree;
}

} // namespace

SequenceTree parseSequence(const ExpressionText& text)
{
    return Parser(text).sequence();
}

EventTree parseEvent(const ExpressionText& text)
{
    return Parser(text).event();
}

} // namespace tracewell
