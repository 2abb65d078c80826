// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/ExpressionNodes.h"
#include "search/FourStateOperations.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace tracewell {

// The operators and functions of expressions, a row each.

/// Operators whose result has the width of their operands.
struct Arithmetic
{
    std::string_view sign;
    BinaryOperation operation;
    BinaryOperation signedOperation;
    bool isForReals;
};
inline constexpr Arithmetic kArithmetic[] = {
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
inline constexpr Shift kShifts[] = {{"<<", shiftLeft, shiftLeft},
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
inline constexpr Comparison kComparisons[] = {
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
inline constexpr Reduction kReductions[] = {
    {"&", reduceAnd}, {"~&", reduceNand}, {"|", reduceOr},    {"~|", reduceNor},
    {"^", reduceXor}, {"~^", reduceXnor}, {"^~", reduceXnor}, {"!", logicalNot}};

/// Bits of the int that some functions give.
inline constexpr unsigned int kBitsOfInt = 32;

/// $name(operand) with one operand that stands for itself.
struct Function
{
    std::string_view name;
    UnaryOperation operation;
    /// 1, or that of an int.
    unsigned int width;
};
inline constexpr Function kFunctions[] = {{"$countones", countOnes, kBitsOfInt},
                                          {"$clog2", ceilingOfLogarithm, kBitsOfInt},
                                          {"$onehot", isOneHot, 1},
                                          {"$onehot0", isOneHotOrNone, 1},
                                          {"$isunknown", hasUnknown, 1}};

inline constexpr std::pair<std::string_view, ChangedLogic::Question> kQuestions[] = {
    {"$rose", ChangedLogic::Question::Rose},
    {"$fell", ChangedLogic::Question::Fell},
    {"$stable", ChangedLogic::Question::Stable},
    {"$changed", ChangedLogic::Question::Changed}};

inline constexpr std::string_view kFunctionNames =
    "$past $rose $fell $stable $changed $countones $onehot $onehot0 $isunknown $clog2 $bits "
    "$signed $unsigned $sampled $time";

/// The row of a sign; null for a sign that is in none.
template <typename Row, std::size_t kRows>
const Row* rowOf(const Row (&rows)[kRows], std::string_view sign)
{
    const Row* const row = std::find_if(std::begin(rows), std::end(rows),
                                        [&](const Row& r) { return r.sign == sign; });
    return row == std::end(rows) ? nullptr : row;
}

inline bool isJunction(std::string_view sign)
{
    return sign == "&&" || sign == "||" || sign == "->" || sign == "<->";
}

} // namespace tracewell
