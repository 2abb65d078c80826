// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/FourState.h"

namespace tracewell {

// The operators of SystemVerilog on four-state values, as IEEE 1800 has them in its chapter on
// operators: what is unknown makes unknown what depends on it. Operands and result have one width
// unless something else is said; the result is another object than the operands.

using UnaryOperation = void (*)(FourState& result, const FourState& operand);
using BinaryOperation = void (*)(FourState& result, const FourState& left, const FourState& right);

void bitwiseNot(FourState& result, const FourState& operand);
void bitwiseAnd(FourState& result, const FourState& left, const FourState& right);
void bitwiseOr(FourState& result, const FourState& left, const FourState& right);
void bitwiseXor(FourState& result, const FourState& left, const FourState& right);
void bitwiseXnor(FourState& result, const FourState& left, const FourState& right);

// All bits are x when one of an operand is unknown, and what is divided by 0.

void negate(FourState& result, const FourState& operand);
void add(FourState& result, const FourState& left, const FourState& right);
void subtract(FourState& result, const FourState& left, const FourState& right);
void multiply(FourState& result, const FourState& left, const FourState& right);
void divide(FourState& result, const FourState& left, const FourState& right);
void divideSigned(FourState& result, const FourState& left, const FourState& right);
void modulo(FourState& result, const FourState& left, const FourState& right);
void moduloSigned(FourState& result, const FourState& left, const FourState& right);
/// The exponent has a width of its own.
void power(FourState& result, const FourState& base, const FourState& exponent, bool isBaseSigned,
           bool isExponentSigned);

// The count of bits has a width of its own and no sign.

void shiftLeft(FourState& result, const FourState& left, const FourState& count);
void shiftRight(FourState& result, const FourState& left, const FourState& count);
/// Repeats the leftmost bit.
void shiftRightSigned(FourState& result, const FourState& left, const FourState& count);

// One bit as the result.

void reduceAnd(FourState& result, const FourState& operand);
void reduceNand(FourState& result, const FourState& operand);
void reduceOr(FourState& result, const FourState& operand);
void reduceNor(FourState& result, const FourState& operand);
void reduceXor(FourState& result, const FourState& operand);
void reduceXnor(FourState& result, const FourState& operand);
void logicalNot(FourState& result, const FourState& operand);
void isOneHot(FourState& result, const FourState& operand);
void isOneHotOrNone(FourState& result, const FourState& operand);
void hasUnknown(FourState& result, const FourState& operand);

void equal(FourState& result, const FourState& left, const FourState& right);
void notEqual(FourState& result, const FourState& left, const FourState& right);
/// ===, with x and z as states like others.
void same(FourState& result, const FourState& left, const FourState& right);
void notSame(FourState& result, const FourState& left, const FourState& right);
/// ==?: x and z of the right operand stand for any bit.
void fits(FourState& result, const FourState& left, const FourState& right);
void fitsNot(FourState& result, const FourState& left, const FourState& right);
void less(FourState& result, const FourState& left, const FourState& right);
void lessSigned(FourState& result, const FourState& left, const FourState& right);
void lessOrEqual(FourState& result, const FourState& left, const FourState& right);
void lessOrEqualSigned(FourState& result, const FourState& left, const FourState& right);
void greater(FourState& result, const FourState& left, const FourState& right);
void greaterSigned(FourState& result, const FourState& left, const FourState& right);
void greaterOrEqual(FourState& result, const FourState& left, const FourState& right);
void greaterOrEqualSigned(FourState& result, const FourState& left, const FourState& right);

// A number as the result, of any width.

void countOnes(FourState& result, const FourState& operand);
/// How many bits number so many things; x for what is unknown.
void ceilingOfLogarithm(FourState& result, const FourState& operand);

/// What ?: gives for an unknown condition: the bits in which both agree, x for others.
void mergeUnknown(FourState& result, const FourState& left, const FourState& right);

Truth negated(Truth truth);
Truth both(Truth left, Truth right);
Truth either(Truth left, Truth right);

} // namespace tracewell
