// SPDX-License-Identifier: BSD-3-Clause

#include "search/ExpressionBuilder.h"
#include "search/ExpressionRules.h"
#include "text/Message.h"
#include "wave/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <tuple>

// What the parts of an expression are by themselves: what names stand for, widths and signs.

namespace tracewell {

namespace {

using Tree = ExpressionTree;
using TreeKind = ExpressionTree::Kind;
using TypeKind = ExpressionType::Kind;

constexpr unsigned int kMostBits = 1u << 20;
constexpr unsigned int kBitsOfTime = 64;

ExpressionType logicType(unsigned int width, bool isSigned = false)
{
    return {TypeKind::Logic, width, isSigned};
}

} // namespace

const NamedSignal* ExpressionBuilder::signalOf(const Tree& tree)
{
    const auto known = m_signals.find(&tree);
    if (known != m_signals.end()) {
        return known->second ? &*known->second : nullptr;
    }
    NamedSignal signal;
    std::optional<NamedSignal>& slot = m_signals[&tree];
    if (!m_names.find(m_text, tree, signal)) {
        return nullptr;
    }
    slot = std::move(signal);
    return &*slot;
}

/// What a name that is no signal's stands for in the enumeration of what it is compared to.
std::optional<FourState> ExpressionBuilder::enumerationValue(const Tree& tree, const Tree* peer)
{
    const NamedSignal* const signal =
        peer != nullptr && peer->kind == TreeKind::Name ? signalOf(*peer) : nullptr;
    if (signal == nullptr || signal->enumeration == nullptr) {
        return std::nullopt;
    }
    const std::size_t colons = tree.text.rfind("::");
    const std::string name = colons == std::string::npos ? tree.text : tree.text.substr(colons + 2);
    for (const auto& [letters, valueName] : signal->enumeration->names) {
        if (valueName == name || valueName == tree.text) {
            FourState value(signal->width);
            value.setLetters(ValueText::widen(letters, signal->width));
            return value;
        }
    }
    return std::nullopt;
}

ExpressionType ExpressionBuilder::nameType(const Tree& tree)
{
    if (const auto named = m_valueNames.find(&tree); named != m_valueNames.end()) {
        return logicType(named->second.width());
    }
    const NamedSignal* const signal = signalOf(tree);
    if (signal == nullptr) {
        m_names.refuse(m_text, tree);
    }
    const std::size_t selects = tree.operands.size() - signal->selectsTaken;
    if (signal->kind->isText() || signal->kind->isNumber()) {
        if (selects > 0) {
            refuse("a signal without bits has no select behind it; one stands", tree);
        }
        return {signal->kind->isText() ? TypeKind::Text : TypeKind::Real, 0, true};
    }
    if (selects > 1) {
        refuse("one select stands behind a name at most; more stand", tree);
    }
    if (selects == 0) {
        return logicType(signal->width, signal->isSigned);
    }
    const Tree& select = *tree.operands.back();
    if (select.kind == TreeKind::Bit) {
        return logicType(1);
    }
    const long long second = constant(*select.operands[1], "a bound of a part");
    long long width = second;
    if (select.kind == TreeKind::Part) {
        const long long first = constant(*select.operands[0], "a bound of a part");
        const bool isDown = signal->range.left >= signal->range.right;
        if (first != second && (first > second) != isDown) {
            refuse(fmt::format("{} is declared as [{}:{}]; a part of it goes the same way, unlike "
                               "the one",
                               inQuotes(tree.text), signal->range.left, signal->range.right),
                   tree);
        }
        width = std::abs(first - second) + 1;
    }
    if (width < 1 || width > kMostBits) {
        refuse(fmt::format("a part has 1 to {} bits, unlike the one", kMostBits), tree);
    }
    return logicType(static_cast<unsigned int>(width));
}

const ExpressionType& ExpressionBuilder::typeOf(const Tree& tree)
{
    const auto known = m_types.find(&tree);
    if (known != m_types.end()) {
        return known->second;
    }
    const Type type = findType(tree);
    return m_types[&tree] = type;
}

/// Of operands that share a width and a sign.
ExpressionType ExpressionBuilder::common(const Tree& left, const Tree& right)
{
    for (const auto& [tree, peer] : {std::pair(&left, &right), std::pair(&right, &left)}) {
        if (tree->isPlainName() && m_valueNames.count(tree) == 0 && signalOf(*tree) == nullptr) {
            if (std::optional<FourState> value = enumerationValue(*tree, peer)) {
                m_valueNames.emplace(tree, *value);
            }
        }
    }
    const Type& a = typeOf(left);
    const Type& b = typeOf(right);
    if (a.kind == TypeKind::Text && b.kind == TypeKind::Text) {
        return a;
    }
    for (const auto& [tree, type, other] :
         {std::tuple(&left, &a, &b), std::tuple(&right, &b, &a)}) {
        // A text that was written out is its characters' bits beside bits.
        if (type->kind == TypeKind::Text &&
            (tree->kind != TreeKind::Text || other->kind != TypeKind::Logic)) {
            refuse("a text is compared to texts alone, unlike the one", *tree);
        }
    }
    if (a.kind == TypeKind::Real || b.kind == TypeKind::Real) {
        return {TypeKind::Real, 0, true};
    }
    const auto bits = [](const Tree& tree, const Type& type) {
        return type.kind == TypeKind::Text ? FourState::ofText(tree.text).width() : type.width;
    };
    return logicType(std::max(bits(left, a), bits(right, b)), a.isSigned && b.isSigned);
}

ExpressionType ExpressionBuilder::findType(const Tree& tree)
{
    switch (tree.kind) {
    case TreeKind::Number:
        return logicType(tree.number.width(), tree.isSigned);
    case TreeKind::Fill:
        return logicType(1);
    case TreeKind::Real:
        return {TypeKind::Real, 0, true};
    case TreeKind::Text:
        return {TypeKind::Text, 0, false};
    case TreeKind::Name:
        return nameType(tree);
    case TreeKind::Concatenation:
    case TreeKind::Replication: {
        const bool isRepeated = tree.kind == TreeKind::Replication;
        const long long times =
            isRepeated ? constant(*tree.operands[0], "the count of a replication") : 1;
        unsigned long long width = 0;
        for (std::size_t i = isRepeated ? 1 : 0; i < tree.operands.size(); ++i) {
            const Type& type = typeOf(*tree.operands[i]);
            if (type.kind == TypeKind::Text && tree.operands[i]->kind == TreeKind::Text) {
                width += FourState::ofText(tree.operands[i]->text).width();
                continue;
            }
            requireLogic(*tree.operands[i]);
            width += type.width;
        }
        if (times < 1 || times > kMostBits ||
            width * static_cast<unsigned long long>(times) > kMostBits) {
            refuse(fmt::format("braces hold 1 to {} bits; others stand", kMostBits), tree);
        }
        return logicType(static_cast<unsigned int>(width * static_cast<unsigned long long>(times)));
    }
    case TreeKind::Unary:
        if (rowOf(kReductions, tree.text) != nullptr) {
            return logicType(1);
        }
        return typeOf(*tree.operands[0]);
    case TreeKind::Binary:
        return binaryType(tree);
    case TreeKind::Conditional:
        return common(*tree.operands[1], *tree.operands[2]);
    case TreeKind::Inside:
        return logicType(1);
    case TreeKind::Call:
        return callType(tree);
    default:
        refuse("nothing is known of what stands", tree);
    }
}

ExpressionType ExpressionBuilder::binaryType(const Tree& tree)
{
    const Tree& left = *tree.operands[0];
    const Tree& right = *tree.operands[1];
    if (isJunction(tree.text) || rowOf(kComparisons, tree.text) != nullptr) {
        return logicType(1);
    }
    if (rowOf(kShifts, tree.text) != nullptr) {
        requireLogic(left);
        requireLogic(right);
        return typeOf(left);
    }
    if (tree.text == "**") {
        const bool isReal =
            typeOf(left).kind == TypeKind::Real || typeOf(right).kind == TypeKind::Real;
        return isReal ? Type{TypeKind::Real, 0, true} : typeOf(left);
    }
    const Type type = common(left, right);
    if (type.kind == TypeKind::Text ||
        (type.kind == TypeKind::Real && !rowOf(kArithmetic, tree.text)->isForReals)) {
        refuse(fmt::format("\"{}\" has no meaning for {}; it stands", tree.text,
                           type.kind == TypeKind::Text ? "texts" : "real numbers"),
               tree);
    }
    return type;
}

ExpressionType ExpressionBuilder::callType(const Tree& tree)
{
    const auto isName = [&](const auto& row) { return row.name == tree.text; };
    const auto* const function = std::find_if(std::begin(kFunctions), std::end(kFunctions), isName);
    if (function != std::end(kFunctions)) {
        requireOperands(tree, 1, 1);
        requireLogic(*tree.operands[0]);
        return logicType(function->width, function->width > 1);
    }
    const auto* const question =
        std::find_if(std::begin(kQuestions), std::end(kQuestions),
                     [&](const auto& row) { return row.first == tree.text; });
    if (question != std::end(kQuestions)) {
        requireOperands(tree, 1, 1);
        requireLogic(*tree.operands[0]);
        return logicType(1);
    }
    if (tree.text == "$time" || tree.text == "$stime" || tree.text == "$realtime") {
        requireOperands(tree, 0, 0);
        return logicType(kBitsOfTime);
    }
    if (tree.text == "$past") {
        requireOperands(tree, 1, 2);
        requireLogic(*tree.operands[0]);
        return typeOf(*tree.operands[0]);
    }
    if (tree.text == "$bits") {
        requireOperands(tree, 1, 1);
        requireLogic(*tree.operands[0]);
        return logicType(kBitsOfInt, true);
    }
    if (tree.text == "$signed" || tree.text == "$unsigned") {
        requireOperands(tree, 1, 1);
        requireLogic(*tree.operands[0]);
        return logicType(typeOf(*tree.operands[0]).width, tree.text == "$signed");
    }
    if (tree.text == "$sampled") {
        requireOperands(tree, 1, 1);
        return typeOf(*tree.operands[0]);
    }
    refuse(fmt::format("the functions are {}; another one stands", kFunctionNames), tree);
}

void ExpressionBuilder::requireOperands(const Tree& tree, std::size_t least, std::size_t most)
{
    if (tree.operands.size() < least || tree.operands.size() > most) {
        refuse(fmt::format("{} takes {} in its parentheses, unlike the one", tree.text,
                           most == 0   ? "nothing"
                           : most == 1 ? "one expression"
                                       : "an expression and a number"),
               tree);
    }
}

void ExpressionBuilder::requireLogic(const Tree& tree)
{
    if (typeOf(tree).kind != TypeKind::Logic) {
        refuse("bits are expected, and no text or real number,", tree);
    }
}

long long ExpressionBuilder::constant(const Tree& tree, const char* what)
{
    const std::size_t before = m_lookingBack.size();
    const bool isNamed = tree.kind == TreeKind::Name;
    if (!isNamed) {
        requireLogic(tree);
        // Nothing of a run is in a tree without names.
        const std::function<bool(const Tree&)> isConstant = [&](const Tree& part) {
            return part.kind != TreeKind::Name && part.text != "$time" &&
                   std::all_of(part.operands.begin(), part.operands.end(),
                               [&](const TreePointer& operand) { return isConstant(*operand); });
        };
        if (isConstant(tree)) {
            const std::optional<long long> number =
                build(tree)->evaluate().number(typeOf(tree).isSigned);
            m_lookingBack.resize(before);
            if (number && std::abs(*number) < 1LL << 40) {
                return *number;
            }
        }
    }
    refuse(fmt::format("{} is a plain number, unlike the one", what), tree);
}

} // namespace tracewell
