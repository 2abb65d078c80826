// SPDX-License-Identifier: BSD-3-Clause

#include "search/ExpressionBuilder.h"

#include "search/ExpressionNodes.h"
#include "search/ExpressionRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tracewell {

namespace {

using Tree = ExpressionTree;
using TreeKind = ExpressionTree::Kind;
using TypeKind = ExpressionType::Kind;

constexpr long long kMostMoments = 100'000;

LogicPointer constantLogic(FourState value)
{
    return std::make_unique<ConstantLogic>(std::move(value));
}

} // namespace

void ExpressionBuilder::refuse(const std::string& why, const Tree& tree) const
{
    m_text.refuse(why, tree.place);
}

Condition ExpressionBuilder::finish(LogicPointer expression)
{
    return Condition(std::move(expression), std::exchange(m_lookingBack, {}));
}

Condition ExpressionBuilder::condition(const Tree& tree)
{
    return finish(truth(tree));
}

Condition ExpressionBuilder::value(const Tree& tree)
{
    requireLogic(tree);
    return finish(build(tree));
}

SignalOperand* ExpressionBuilder::eventOf(const Tree& tree)
{
    const NamedSignal* const signal = tree.isPlainName() ? signalOf(tree) : nullptr;
    return signal != nullptr && signal->kind->fires()
               ? &m_operands.add(signal->parts[0].object, signal->parts[0].width)
               : nullptr;
}

// Names.

LogicPointer ExpressionBuilder::name(const Tree& tree)
{
    if (const auto named = m_valueNames.find(&tree); named != m_valueNames.end()) {
        return constantLogic(named->second);
    }
    typeOf(tree);
    const NamedSignal& signal = *signalOf(tree);
    std::vector<LogicPointer> parts;
    for (const NamedSignal::Part& part : signal.parts) {
        parts.push_back(part.width == 0 ? constantLogic(FourState(1))
                                        : std::make_unique<GivenLogic>(
                                              m_operands.add(part.object, part.width).bits));
    }
    LogicPointer whole = parts.size() == 1
                             ? std::move(parts[0])
                             : std::make_unique<JoinedLogic>(signal.width, std::move(parts), 1);
    return tree.operands.size() == signal.selectsTaken ? std::move(whole)
                                                       : select(tree, signal, std::move(whole));
}

LogicPointer ExpressionBuilder::select(const Tree& tree, const NamedSignal& signal,
                                       LogicPointer whole)
{
    const Tree& select = *tree.operands.back();
    const unsigned int width = typeOf(tree).width;
    const bool isDown = signal.range.left >= signal.range.right;
    // The index is the number of the lowest bit, but for these.
    const bool isLeft = select.kind == (isDown ? TreeKind::PartDown : TreeKind::PartUp);
    const long long reach = static_cast<long long>(width) - 1;
    const long long offset = !isLeft ? 0 : isDown ? -reach : reach;
    const Tree& index = *select.operands[select.kind == TreeKind::Part ? 1 : 0];
    requireLogic(index);
    return std::make_unique<SelectedLogic>(width, std::move(whole), build(index),
                                           typeOf(index).isSigned, signal.range.right, isDown,
                                           offset);
}

LogicPointer ExpressionBuilder::build(const Tree& tree)
{
    return own(tree, typeOf(tree));
}

/// With the width of the context, which is not below its own, and its sign.
LogicPointer ExpressionBuilder::build(const Tree& tree, const Type& context)
{
    if (tree.kind == TreeKind::Text) {
        return std::make_unique<ExtendedLogic>(context.width,
                                               constantLogic(FourState::ofText(tree.text)), false);
    }
    if (tree.kind == TreeKind::Fill || (tree.kind == TreeKind::Number && tree.isOpenEnded)) {
        FourState value(context.width);
        value.setExtended(tree.number, false);
        for (unsigned int i = tree.number.width(); i < context.width; ++i) {
            value.setBit(i, tree.number.bit(tree.number.width() - 1));
        }
        return constantLogic(value);
    }
    return own(tree, context);
}

LogicPointer ExpressionBuilder::own(const Tree& tree, const Type& context)
{
    requireLogic(tree);
    const bool isShared =
        (tree.kind == TreeKind::Unary && rowOf(kReductions, tree.text) == nullptr) ||
        (tree.kind == TreeKind::Binary && !isJunction(tree.text) &&
         rowOf(kComparisons, tree.text) == nullptr);
    if (isShared) {
        return tree.kind == TreeKind::Unary ? unary(tree, context) : binary(tree, context);
    }
    if (tree.kind == TreeKind::Conditional) {
        return std::make_unique<ConditionalLogic>(context.width, truth(*tree.operands[0]),
                                                  build(*tree.operands[1], context),
                                                  build(*tree.operands[2], context));
    }
    LogicPointer operand;
    switch (tree.kind) {
    case TreeKind::Number:
    case TreeKind::Fill:
        operand = constantLogic(tree.number);
        break;
    case TreeKind::Name:
        operand = name(tree);
        break;
    case TreeKind::Concatenation:
    case TreeKind::Replication:
        operand = joined(tree);
        break;
    case TreeKind::Unary:
        operand = unary(tree, context);
        break;
    case TreeKind::Binary:
        operand = binary(tree, context);
        break;
    case TreeKind::Inside:
        operand = inside(tree);
        break;
    default:
        operand = call(tree);
    }
    const unsigned int width = typeOf(tree).width;
    // An operand takes the sign of all, so that one without a sign makes all without.
    return width == context.width ? std::move(operand)
                                  : std::make_unique<ExtendedLogic>(
                                        context.width, std::move(operand), context.isSigned);
}

/// One bit that is 1 where the tree is not 0.
LogicPointer ExpressionBuilder::truth(const Tree& tree)
{
    switch (typeOf(tree).kind) {
    case TypeKind::Logic:
        return build(tree);
    case TypeKind::Real: {
        const std::shared_ptr<RealExpression> number = real(tree);
        return std::make_unique<FoundTruth>([number] {
            const std::optional<double> value = number->evaluate();
            return !value ? Truth::Unknown : *value != 0 ? Truth::Yes : Truth::No;
        });
    }
    default:
        refuse("a text is neither true nor false; compare the one", tree);
    }
}

LogicPointer ExpressionBuilder::joined(const Tree& tree)
{
    const bool isRepeated = tree.kind == TreeKind::Replication;
    std::vector<LogicPointer> parts;
    for (std::size_t i = isRepeated ? 1 : 0; i < tree.operands.size(); ++i) {
        const Tree& operand = *tree.operands[i];
        parts.push_back(operand.kind == TreeKind::Text
                            ? constantLogic(FourState::ofText(operand.text))
                            : build(operand));
    }
    const auto times = static_cast<unsigned int>(
        isRepeated ? constant(*tree.operands[0], "the count of a replication") : 1);
    return std::make_unique<JoinedLogic>(typeOf(tree).width, std::move(parts), times);
}

LogicPointer ExpressionBuilder::unary(const Tree& tree, const Type& context)
{
    const Tree& operand = *tree.operands[0];
    if (tree.text == "!") {
        return std::make_unique<UnaryLogic>(1, logicalNot, truth(operand));
    }
    requireLogic(operand);
    if (const Reduction* const reduction = rowOf(kReductions, tree.text)) {
        return std::make_unique<UnaryLogic>(1, reduction->operation, build(operand));
    }
    LogicPointer value = build(operand, context);
    if (tree.text == "+") {
        return value;
    }
    return std::make_unique<UnaryLogic>(context.width, tree.text == "-" ? negate : bitwiseNot,
                                        std::move(value));
}

LogicPointer ExpressionBuilder::binary(const Tree& tree, const Type& context)
{
    const Tree& left = *tree.operands[0];
    const Tree& right = *tree.operands[1];
    if (tree.text == "&&" || tree.text == "||") {
        return std::make_unique<LogicalJunction>(tree.text == "&&", truth(left), truth(right));
    }
    if (tree.text == "->") {
        return std::make_unique<LogicalJunction>(
            false, std::make_unique<UnaryLogic>(1, logicalNot, truth(left)), truth(right));
    }
    if (tree.text == "<->") {
        return std::make_unique<UnaryLogic>(
            1, logicalNot,
            std::make_unique<BinaryLogic>(
                1, bitwiseXor, std::make_unique<UnaryLogic>(1, logicalNot, truth(left)),
                std::make_unique<UnaryLogic>(1, logicalNot, truth(right))));
    }
    if (rowOf(kComparisons, tree.text) != nullptr) {
        return comparison(tree.text, left, right, tree);
    }
    if (const Shift* const shift = rowOf(kShifts, tree.text)) {
        return std::make_unique<BinaryLogic>(
            context.width, context.isSigned ? shift->signedOperation : shift->operation,
            build(left, context), build(right));
    }
    if (tree.text == "**") {
        requireLogic(right);
        return std::make_unique<PowerLogic>(context.width, build(left, context), build(right),
                                            context.isSigned, typeOf(right).isSigned);
    }
    // Names of values are known behind this.
    common(left, right);
    const Arithmetic& row = *rowOf(kArithmetic, tree.text);
    return std::make_unique<BinaryLogic>(context.width,
                                         context.isSigned ? row.signedOperation : row.operation,
                                         build(left, context), build(right, context));
}

LogicPointer ExpressionBuilder::comparison(const std::string& sign, const Tree& left,
                                           const Tree& right, const Tree& place)
{
    const Type type = common(left, right);
    const Comparison& row = *rowOf(kComparisons, sign);
    if (type.kind == TypeKind::Logic) {
        return std::make_unique<BinaryLogic>(1, type.isSigned ? row.signedOperation : row.operation,
                                             build(left, type), build(right, type));
    }
    if (row.ofOrder == nullptr) {
        refuse(fmt::format("\"{}\" has no meaning for {}; it stands", sign,
                           type.kind == TypeKind::Text ? "texts" : "real numbers"),
               place);
    }
    const auto answer = [ofOrder = row.ofOrder](int order) {
        return ofOrder(order) ? Truth::Yes : Truth::No;
    };
    if (type.kind == TypeKind::Text) {
        const std::shared_ptr<TextExpression> a = text(left);
        const std::shared_ptr<TextExpression> b = text(right);
        return std::make_unique<FoundTruth>([a, b, answer] {
            const std::string* const first = a->evaluate();
            const std::string* const second = b->evaluate();
            return first == nullptr || second == nullptr ? Truth::Unknown
                                                         : answer(first->compare(*second));
        });
    }
    const std::shared_ptr<RealExpression> a = real(left);
    const std::shared_ptr<RealExpression> b = real(right);
    const bool isUnequal = sign == "!=" || sign == "!==";
    return std::make_unique<FoundTruth>([a, b, answer, isUnequal] {
        const std::optional<double> first = a->evaluate();
        const std::optional<double> second = b->evaluate();
        if (!first || !second) {
            return Truth::Unknown;
        }
        if (std::isnan(*first) || std::isnan(*second)) {
            return isUnequal ? Truth::Yes : Truth::No;
        }
        return answer(*first < *second ? -1 : *first > *second ? 1 : 0);
    });
}

LogicPointer ExpressionBuilder::inside(const Tree& tree)
{
    const Tree& value = *tree.operands[0];
    LogicPointer all;
    for (std::size_t i = 1; i < tree.operands.size(); ++i) {
        const Tree& entry = *tree.operands[i];
        LogicPointer found;
        if (entry.kind == TreeKind::Range) {
            const Tree& low = *entry.operands[0];
            const Tree& high = *entry.operands[1];
            LogicPointer isAbove =
                low.kind == TreeKind::Open ? nullptr : comparison(">=", value, low, entry);
            LogicPointer isBelow =
                high.kind == TreeKind::Open ? nullptr : comparison("<=", value, high, entry);
            if (isAbove == nullptr && isBelow == nullptr) {
                refuse("a range has one bound at least, unlike the one", entry);
            }
            found = isAbove == nullptr   ? std::move(isBelow)
                    : isBelow == nullptr ? std::move(isAbove)
                                         : std::make_unique<LogicalJunction>(
                                               true, std::move(isAbove), std::move(isBelow));
        } else {
            const bool isLogic = common(value, entry).kind == TypeKind::Logic;
            found = comparison(isLogic ? "==?" : "==", value, entry, entry);
        }
        all = all == nullptr
                  ? std::move(found)
                  : std::make_unique<LogicalJunction>(false, std::move(all), std::move(found));
    }
    return all;
}

LogicPointer ExpressionBuilder::call(const Tree& tree)
{
    const Type type = typeOf(tree);
    const auto* const function =
        std::find_if(std::begin(kFunctions), std::end(kFunctions),
                     [&](const Function& row) { return row.name == tree.text; });
    if (function != std::end(kFunctions)) {
        return std::make_unique<UnaryLogic>(type.width, function->operation,
                                            build(*tree.operands[0]));
    }
    if (tree.operands.empty()) {
        return std::make_unique<GivenLogic>(m_operands.time());
    }
    const Tree& operand = *tree.operands[0];
    if (tree.text == "$bits") {
        FourState width(type.width);
        width.setNumber(typeOf(operand).width);
        return constantLogic(width);
    }
    if (tree.text == "$past") {
        const long long moments = tree.operands.size() > 1
                                      ? constant(*tree.operands[1], "the second operand of $past")
                                      : 1;
        if (moments < 1 || moments > kMostMoments) {
            refuse(fmt::format("$past looks 1 to {} back, unlike the one", kMostMoments), tree);
        }
        auto past = std::make_unique<PastLogic>(type.width, build(operand),
                                                static_cast<std::size_t>(moments));
        m_lookingBack.push_back(past.get());
        return past;
    }
    const auto* const question =
        std::find_if(std::begin(kQuestions), std::end(kQuestions),
                     [&](const auto& row) { return row.first == tree.text; });
    if (question != std::end(kQuestions)) {
        auto changed =
            std::make_unique<ChangedLogic>(question->second, typeOf(operand).width, build(operand));
        m_lookingBack.push_back(changed.get());
        return changed;
    }
    // $signed, $unsigned and $sampled.
    return build(operand);
}

// Real numbers and texts.

RealPointer ExpressionBuilder::real(const Tree& tree)
{
    const Type& type = typeOf(tree);
    if (type.kind == TypeKind::Text) {
        refuse("a number is expected, and no text,", tree);
    }
    if (type.kind == TypeKind::Logic) {
        const std::shared_ptr<LogicExpression> bits = build(tree);
        return std::make_unique<FoundReal>([bits, isSigned = type.isSigned] {
            return std::optional<double>(bits->evaluate().real(isSigned));
        });
    }
    switch (tree.kind) {
    case TreeKind::Real:
        return std::make_unique<FoundReal>([value = tree.real] { return std::optional(value); });
    case TreeKind::Name: {
        const NamedSignal::Part& part = signalOf(tree)->parts[0];
        const SignalOperand& operand = m_operands.add(part.object, part.width);
        return std::make_unique<FoundReal>([&operand] { return operand.real; });
    }
    case TreeKind::Unary: {
        const std::shared_ptr<RealExpression> value = real(*tree.operands[0]);
        if (tree.text != "+" && tree.text != "-") {
            refuse(fmt::format("\"{}\" has no meaning for real numbers; it stands", tree.text),
                   tree);
        }
        return std::make_unique<FoundReal>([value, isMinus = tree.text == "-"] {
            const std::optional<double> number = value->evaluate();
            return number && isMinus ? std::optional(-*number) : number;
        });
    }
    case TreeKind::Conditional: {
        const std::shared_ptr<LogicExpression> condition = truth(*tree.operands[0]);
        const std::shared_ptr<RealExpression> a = real(*tree.operands[1]);
        const std::shared_ptr<RealExpression> b = real(*tree.operands[2]);
        return std::make_unique<FoundReal>([condition, a, b]() -> std::optional<double> {
            const Truth truth = condition->evaluate().truth();
            return truth == Truth::Unknown ? std::nullopt
                   : truth == Truth::Yes   ? a->evaluate()
                                           : b->evaluate();
        });
    }
    case TreeKind::Call:
        return real(*tree.operands[0]);
    default:
        return realBinary(tree);
    }
}

RealPointer ExpressionBuilder::realBinary(const Tree& tree)
{
    using Operation = double (*)(double, double);
    constexpr std::pair<std::string_view, Operation> kOperations[] = {
        {"+", [](double a, double b) { return a + b; }},
        {"-", [](double a, double b) { return a - b; }},
        {"*", [](double a, double b) { return a * b; }},
        {"/", [](double a, double b) { return a / b; }},
        {"**", [](double a, double b) { return std::pow(a, b); }}};
    const auto* const row =
        std::find_if(std::begin(kOperations), std::end(kOperations),
                     [&](const auto& entry) { return entry.first == tree.text; });
    const std::shared_ptr<RealExpression> a = real(*tree.operands[0]);
    const std::shared_ptr<RealExpression> b = real(*tree.operands[1]);
    return std::make_unique<FoundReal>([a, b, operation = row->second]() -> std::optional<double> {
        const std::optional<double> left = a->evaluate();
        const std::optional<double> right = b->evaluate();
        return left && right ? std::optional(operation(*left, *right)) : std::nullopt;
    });
}

TextPointer ExpressionBuilder::text(const Tree& tree)
{
    switch (tree.kind) {
    case TreeKind::Text:
        return std::make_unique<FoundText>([value = tree.text] { return &value; });
    case TreeKind::Name: {
        const NamedSignal::Part& part = signalOf(tree)->parts[0];
        const SignalOperand& operand = m_operands.add(part.object, part.width);
        return std::make_unique<FoundText>(
            [&operand] { return operand.text ? &*operand.text : nullptr; });
    }
    case TreeKind::Conditional: {
        const std::shared_ptr<LogicExpression> condition = truth(*tree.operands[0]);
        const std::shared_ptr<TextExpression> a = text(*tree.operands[1]);
        const std::shared_ptr<TextExpression> b = text(*tree.operands[2]);
        return std::make_unique<FoundText>([condition, a, b]() -> const std::string* {
            const Truth truth = condition->evaluate().truth();
            return truth == Truth::Unknown ? nullptr
                   : truth == Truth::Yes   ? a->evaluate()
                                           : b->evaluate();
        });
    }
    case TreeKind::Call:
        return text(*tree.operands[0]);
    default:
        refuse("a text is expected", tree);
    }
}

} // namespace tracewell
