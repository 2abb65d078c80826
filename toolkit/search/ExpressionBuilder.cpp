// SPDX-License-Identifier: BSD-3-Clause

#include "search/ExpressionBuilder.h"

#include "search/ExpressionNodes.h"
#include "text/Message.h"
#include "wave/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

namespace tracewell {

namespace {

using Tree = ExpressionTree;
using TreeKind = ExpressionTree::Kind;
using TypeKind = ExpressionType::Kind;

constexpr unsigned int kMostBits = 1u << 20;
constexpr unsigned int kBitsOfInteger = 32;
constexpr unsigned int kBitsOfTime = 64;
constexpr unsigned int kBitsOfCharacter = 8;
constexpr long long kMostMoments = 100'000;

/// Operators whose result has the width of their operands.
struct Arithmetic
{
    std::string_view sign;
    BinaryOperation operation;
    BinaryOperation signedOperation;
    bool isForReals;
};
constexpr Arithmetic kArithmetic[] = {
    {"+", add, add, true},
    {"-", subtract, subtract, true},
    {"*", multiply, multiply, true},
    {"/", divide, divideSigned, true},
    {"%", modulo, moduloSigned, false},
    {"&", bitwiseAnd, bitwiseAnd, false},
    {"|", bitwiseOr, bitwiseOr, false},
    {"^", bitwiseXor, bitwiseXor, false},
    {"~^", bitwiseXnor, bitwiseXnor, false},
    {"^~", bitwiseXnor, bitwiseXnor, false},
};

/// Operators whose right operand stands for itself.
struct Shift
{
    std::string_view sign;
    BinaryOperation operation;
    BinaryOperation signedOperation;
};
constexpr Shift kShifts[] = {{"<<", shiftLeft, shiftLeft},
                             {">>", shiftRight, shiftRight},
                             {"<<<", shiftLeft, shiftLeft},
                             {">>>", shiftRight, shiftRightSigned}};

struct Comparison
{
    std::string_view sign;
    BinaryOperation operation;
    BinaryOperation signedOperation;
    /// Of an order of numbers or texts, as compare() gives it; null where they have no such one.
    bool (*ofOrder)(int);
};
constexpr Comparison kComparisons[] = {
    {"==", equal, equal, [](int order) { return order == 0; }},
    {"!=", notEqual, notEqual, [](int order) { return order != 0; }},
    {"===", same, same, [](int order) { return order == 0; }},
    {"!==", notSame, notSame, [](int order) { return order != 0; }},
    {"==?", fits, fits, nullptr},
    {"!=?", fitsNot, fitsNot, nullptr},
    {"<", less, lessSigned, [](int order) { return order < 0; }},
    {"<=", lessOrEqual, lessOrEqualSigned, [](int order) { return order <= 0; }},
    {">", greater, greaterSigned, [](int order) { return order > 0; }},
    {">=", greaterOrEqual, greaterOrEqualSigned, [](int order) { return order >= 0; }},
};

struct Reduction
{
    std::string_view sign;
    UnaryOperation operation;
};
constexpr Reduction kReductions[] = {{"&", reduceAnd},   {"~&", reduceNand}, {"|", reduceOr},
                                     {"~|", reduceNor},  {"^", reduceXor},   {"~^", reduceXnor},
                                     {"^~", reduceXnor}, {"!", logicalNot}};

/// $name(operand) with one operand that stands for itself.
struct Function
{
    std::string_view name;
    UnaryOperation operation;
    /// 1, or that of an int.
    unsigned int width;
};
constexpr Function kFunctions[] = {{"$countones", countOnes, kBitsOfInteger},
                                   {"$clog2", ceilingOfLogarithm, kBitsOfInteger},
                                   {"$onehot", isOneHot, 1},
                                   {"$onehot0", isOneHotOrNone, 1},
                                   {"$isunknown", hasUnknown, 1}};

constexpr std::pair<std::string_view, ChangedLogic::Question> kQuestions[] = {
    {"$rose", ChangedLogic::Question::Rose},
    {"$fell", ChangedLogic::Question::Fell},
    {"$stable", ChangedLogic::Question::Stable},
    {"$changed", ChangedLogic::Question::Changed}};

constexpr std::string_view kOtherFunctions =
    "$past $rose $fell $stable $changed $countones $onehot $onehot0 $isunknown $clog2 $bits "
    "$signed $unsigned $sampled $time";

template <typename Row, std::size_t kRows>
const Row* rowOf(const Row (&rows)[kRows], std::string_view sign)
{
    const Row* const row = std::find_if(std::begin(rows), std::end(rows),
                                        [&](const Row& r) { return r.sign == sign; });
    return row == std::end(rows) ? nullptr : row;
}

bool isJunction(std::string_view sign)
{
    return sign == "&&" || sign == "||" || sign == "->" || sign == "<->";
}

bool isPlainName(const Tree& tree)
{
    return tree.kind == TreeKind::Name && tree.operands.empty();
}

FourState bitsOfText(const std::string& text)
{
    FourState bits(kBitsOfCharacter *
                   static_cast<unsigned int>(std::max<std::size_t>(text.size(), 1)));
    bits.fill(0);
    FourState character(kBitsOfCharacter);
    for (std::size_t i = 0; i < text.size(); ++i) {
        character.setNumber(static_cast<unsigned char>(text[text.size() - 1 - i]));
        bits.setBits(static_cast<unsigned int>(kBitsOfCharacter * i), character);
    }
    return bits;
}

ExpressionType logicType(unsigned int width, bool isSigned = false)
{
    return {TypeKind::Logic, width, isSigned};
}

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
    const NamedSignal* const signal = isPlainName(tree) ? signalOf(tree) : nullptr;
    return signal != nullptr && signal->kind->fires()
               ? &m_operands.add(signal->parts[0].object, signal->parts[0].width)
               : nullptr;
}

// Names.

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

// Types.

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
        if (isPlainName(*tree) && m_valueNames.count(tree) == 0 && signalOf(*tree) == nullptr) {
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
        return type.kind == TypeKind::Text ? bitsOfText(tree.text).width() : type.width;
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
                width += bitsOfText(tree.operands[i]->text).width();
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
        return logicType(kBitsOfInteger, true);
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
    refuse(fmt::format("the functions are {}; another one stands", kOtherFunctions), tree);
}

// Logic.

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

LogicPointer ExpressionBuilder::build(const Tree& tree)
{
    return own(tree, typeOf(tree));
}

/// With the width of the context, which is not below its own, and its sign.
LogicPointer ExpressionBuilder::build(const Tree& tree, const Type& context)
{
    if (tree.kind == TreeKind::Text) {
        return std::make_unique<ExtendedLogic>(context.width, constantLogic(bitsOfText(tree.text)),
                                               false);
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
        parts.push_back(operand.kind == TreeKind::Text ? constantLogic(bitsOfText(operand.text))
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
