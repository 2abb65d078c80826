// SPDX-License-Identifier: BSD-3-Clause

#include "search/FourStateOperations.h"

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

constexpr unsigned int kBits = FourState::kBitsOfWord;
using Wide = unsigned __int128;

/// Calls `make` with the words of both sides where nothing is unknown; all x otherwise.
template <typename Make>
void arithmetic(FourState& result, const FourState& left, const FourState& right, const Make& make)
{
    if (left.isUnknown() || right.isUnknown()) {
        result.fill(3);
        return;
    }
    std::fill_n(result.b(), result.words(), 0);
    make();
    result.trim();
}

template <typename Make>
void bitwise(FourState& result, const FourState& left, const FourState& right, const Make& make)
{
    for (std::size_t i = 0; i < result.words(); ++i) {
        make(result.a()[i], result.b()[i], left.a()[i], left.b()[i], right.a()[i], right.b()[i]);
    }
    result.trim();
}

bool isNegative(const FourState& value)
{
    return value.bit(value.width() - 1) == 1;
}

/// Of values without unknown bits.
int compareWords(const FourState& left, const FourState& right)
{
    for (std::size_t i = left.words(); i-- > 0;) {
        if (left.a()[i] != right.a()[i]) {
            return left.a()[i] < right.a()[i] ? -1 : 1;
        }
    }
    return 0;
}

template <typename Decide>
void compare(FourState& result, const FourState& left, const FourState& right, bool isSigned,
             const Decide& decide)
{
    if (left.isUnknown() || right.isUnknown()) {
        result.setTruth(Truth::Unknown);
        return;
    }
    int order = compareWords(left, right);
    if (isSigned && isNegative(left) != isNegative(right)) {
        order = isNegative(left) ? -1 : 1;
    }
    result.setTruth(decide(order) ? Truth::Yes : Truth::No);
}

void negateWords(FourState& value)
{
    bool carry = true;
    for (std::size_t i = 0; i < value.words(); ++i) {
        value.a()[i] = ~value.a()[i] + (carry ? 1 : 0);
        carry = carry && value.a()[i] == 0;
    }
    value.trim();
}

/// Both parts of a division without signs, of values without unknown bits, by other than 0.
void divideWords(const FourState& left, const FourState& right, FourState& quotient,
                 FourState& rest)
{
    quotient.setNumber(0);
    rest.setNumber(0);
    if (left.words() == 1) {
        quotient.a()[0] = left.a()[0] / right.a()[0];
        rest.a()[0] = left.a()[0] % right.a()[0];
        return;
    }
    for (unsigned int i = left.width(); i-- > 0;) {
        // The bit that is shifted out: the rest is below the divisor, twice it may need one more.
        const bool isBeyond = rest.bit(rest.width() - 1) == 1;
        for (std::size_t word = rest.words(); word-- > 1;) {
            rest.a()[word] = rest.a()[word] << 1 | rest.a()[word - 1] >> (kBits - 1);
        }
        rest.a()[0] = rest.a()[0] << 1 | left.bit(i);
        rest.trim();
        if (!isBeyond && compareWords(rest, right) < 0) {
            continue;
        }
        bool borrow = false;
        for (std::size_t word = 0; word < rest.words(); ++word) {
            const std::uint64_t from = rest.a()[word];
            const std::uint64_t taken = right.a()[word];
            rest.a()[word] = from - taken - (borrow ? 1 : 0);
            borrow = from < taken || (borrow && from == taken);
        }
        rest.trim();
        quotient.setBit(i, 1);
    }
}

void divideBoth(FourState& result, const FourState& left, const FourState& right, bool isSigned,
                bool wantsRest)
{
    if (left.isUnknown() || right.truth() != Truth::Yes || right.isUnknown()) {
        result.fill(3);
        return;
    }
    FourState dividend = left;
    FourState divisor = right;
    const bool isLeftNegative = isSigned && isNegative(left);
    const bool isRightNegative = isSigned && isNegative(right);
    if (isLeftNegative) {
        negateWords(dividend);
    }
    if (isRightNegative) {
        negateWords(divisor);
    }
    FourState other(left.width());
    divideWords(dividend, divisor, wantsRest ? other : result, wantsRest ? result : other);
    // The rest has the sign of the dividend.
    if (wantsRest ? isLeftNegative : isLeftNegative != isRightNegative) {
        negateWords(result);
    }
}

/// How far to shift; the width for anything that leaves nothing.
unsigned int shiftCount(const FourState& count, unsigned int width)
{
    for (std::size_t i = 1; i < count.words(); ++i) {
        if (count.a()[i] != 0) {
            return width;
        }
    }
    return static_cast<unsigned int>(std::min<std::uint64_t>(count.a()[0], width));
}

void shiftWordsRight(std::uint64_t* to, const std::uint64_t* from, std::size_t words,
                     unsigned int count)
{
    const std::size_t skipped = count / kBits;
    const unsigned int shift = count % kBits;
    for (std::size_t i = 0; i < words; ++i) {
        const std::size_t at = i + skipped;
        const std::uint64_t low = at < words ? from[at] : 0;
        const std::uint64_t high = at + 1 < words ? from[at + 1] : 0;
        to[i] = shift == 0 ? low : low >> shift | high << (kBits - shift);
    }
}

void shiftWordsLeft(std::uint64_t* to, const std::uint64_t* from, std::size_t words,
                    unsigned int count)
{
    const std::size_t skipped = count / kBits;
    const unsigned int shift = count % kBits;
    for (std::size_t i = words; i-- > 0;) {
        const std::uint64_t high = i >= skipped ? from[i - skipped] : 0;
        const std::uint64_t low = i >= skipped + 1 ? from[i - skipped - 1] : 0;
        to[i] = shift == 0 ? high : high << shift | low >> (kBits - shift);
    }
}

std::size_t onesOf(const FourState& operand)
{
    std::size_t ones = 0;
    for (std::size_t i = 0; i < operand.words(); ++i) {
        ones += static_cast<std::size_t>(__builtin_popcountll(operand.a()[i] & ~operand.b()[i]));
    }
    return ones;
}

Truth conjunctionOf(const FourState& operand)
{
    std::size_t zeros = operand.width();
    bool isUnknown = false;
    for (std::size_t i = 0; i < operand.words(); ++i) {
        zeros -= static_cast<std::size_t>(__builtin_popcountll(operand.a()[i] | operand.b()[i]));
        isUnknown = isUnknown || operand.b()[i] != 0;
    }
    return zeros > 0 ? Truth::No : isUnknown ? Truth::Unknown : Truth::Yes;
}

Truth parityOf(const FourState& operand)
{
    return operand.isUnknown() ? Truth::Unknown : onesOf(operand) % 2 != 0 ? Truth::Yes : Truth::No;
}

/// A bit that is known on both sides and differs decides, and no other.
Truth equality(const FourState& left, const FourState& right)
{
    std::uint64_t unknown = 0;
    for (std::size_t i = 0; i < left.words(); ++i) {
        const std::uint64_t open = left.b()[i] | right.b()[i];
        if (((left.a()[i] ^ right.a()[i]) & ~open) != 0) {
            return Truth::No;
        }
        unknown |= open;
    }
    return unknown != 0 ? Truth::Unknown : Truth::Yes;
}

Truth fitting(const FourState& left, const FourState& right)
{
    std::uint64_t unknown = 0;
    for (std::size_t i = 0; i < left.words(); ++i) {
        const std::uint64_t compared = ~right.b()[i];
        if (((left.a()[i] ^ right.a()[i]) & compared & ~left.b()[i]) != 0) {
            return Truth::No;
        }
        unknown |= left.b()[i] & compared;
    }
    return unknown != 0 ? Truth::Unknown : Truth::Yes;
}

} // namespace

Truth negated(Truth truth)
{
    return truth == Truth::Unknown ? truth : truth == Truth::Yes ? Truth::No : Truth::Yes;
}

Truth both(Truth left, Truth right)
{
    if (left == Truth::No || right == Truth::No) {
        return Truth::No;
    }
    return left == Truth::Yes && right == Truth::Yes ? Truth::Yes : Truth::Unknown;
}

Truth either(Truth left, Truth right)
{
    return negated(both(negated(left), negated(right)));
}

void bitwiseNot(FourState& result, const FourState& operand)
{
    for (std::size_t i = 0; i < result.words(); ++i) {
        result.a()[i] = ~operand.a()[i] | operand.b()[i];
        result.b()[i] = operand.b()[i];
    }
    result.trim();
}

void bitwiseAnd(FourState& result, const FourState& left, const FourState& right)
{
    bitwise(result, left, right, [](auto& a, auto& b, auto la, auto lb, auto ra, auto rb) {
        const std::uint64_t isZero = (~la & ~lb) | (~ra & ~rb);
        b = (lb | rb) & ~isZero;
        a = ~isZero;
    });
}

void bitwiseOr(FourState& result, const FourState& left, const FourState& right)
{
    bitwise(result, left, right, [](auto& a, auto& b, auto la, auto lb, auto ra, auto rb) {
        const std::uint64_t isOne = (la & ~lb) | (ra & ~rb);
        b = (lb | rb) & ~isOne;
        a = isOne | b;
    });
}

void bitwiseXor(FourState& result, const FourState& left, const FourState& right)
{
    bitwise(result, left, right, [](auto& a, auto& b, auto la, auto lb, auto ra, auto rb) {
        b = lb | rb;
        a = (la ^ ra) | b;
    });
}

void bitwiseXnor(FourState& result, const FourState& left, const FourState& right)
{
    bitwise(result, left, right, [](auto& a, auto& b, auto la, auto lb, auto ra, auto rb) {
        b = lb | rb;
        a = ~(la ^ ra) | b;
    });
}

void negate(FourState& result, const FourState& operand)
{
    arithmetic(result, operand, operand, [&] {
        std::copy_n(operand.a(), operand.words(), result.a());
        negateWords(result);
    });
}

void add(FourState& result, const FourState& left, const FourState& right)
{
    arithmetic(result, left, right, [&] {
        Wide carry = 0;
        for (std::size_t i = 0; i < result.words(); ++i) {
            carry += Wide{left.a()[i]} + right.a()[i];
            result.a()[i] = static_cast<std::uint64_t>(carry);
            carry >>= kBits;
        }
    });
}

void subtract(FourState& result, const FourState& left, const FourState& right)
{
    arithmetic(result, left, right, [&] {
        Wide carry = 1;
        for (std::size_t i = 0; i < result.words(); ++i) {
            carry += Wide{left.a()[i]} + std::uint64_t{~right.a()[i]};
            result.a()[i] = static_cast<std::uint64_t>(carry);
            carry >>= kBits;
        }
    });
}

void multiply(FourState& result, const FourState& left, const FourState& right)
{
    arithmetic(result, left, right, [&] {
        std::fill_n(result.a(), result.words(), 0);
        for (std::size_t i = 0; i < result.words(); ++i) {
            Wide carry = 0;
            for (std::size_t j = 0; i + j < result.words(); ++j) {
                carry += Wide{left.a()[i]} * right.a()[j] + result.a()[i + j];
                result.a()[i + j] = static_cast<std::uint64_t>(carry);
                carry >>= kBits;
            }
        }
    });
}

void divide(FourState& result, const FourState& left, const FourState& right)
{
    divideBoth(result, left, right, false, false);
}

void divideSigned(FourState& result, const FourState& left, const FourState& right)
{
    divideBoth(result, left, right, true, false);
}

void modulo(FourState& result, const FourState& left, const FourState& right)
{
    divideBoth(result, left, right, false, true);
}

void moduloSigned(FourState& result, const FourState& left, const FourState& right)
{
    divideBoth(result, left, right, true, true);
}

void power(FourState& result, const FourState& base, const FourState& exponent, bool isBaseSigned,
           bool isExponentSigned)
{
    if (base.isUnknown() || exponent.isUnknown()) {
        result.fill(3);
        return;
    }
    if (isExponentSigned && isNegative(exponent)) {
        // 1 stays 1, -1 alternates, 0 has no inverse, and others round to 0.
        FourState one(base.width());
        one.setNumber(1);
        FourState minusOne = one;
        negateWords(minusOne);
        const bool isMinusOne = isBaseSigned && base.isSame(minusOne);
        if (base.truth() == Truth::No) {
            result.fill(3);
        } else if (base.isSame(one) || (isMinusOne && exponent.bit(0) == 0)) {
            result = one;
        } else if (isMinusOne) {
            result = minusOne;
        } else {
            result.setNumber(0);
        }
        return;
    }
    FourState square = base;
    FourState product(base.width());
    FourState next(base.width());
    product.setNumber(1);
    unsigned int top = exponent.width();
    while (top > 0 && exponent.bit(top - 1) == 0) {
        --top;
    }
    for (unsigned int i = 0; i < top; ++i) {
        if (exponent.bit(i) == 1) {
            multiply(next, product, square);
            std::swap(product, next);
        }
        multiply(next, square, square);
        std::swap(square, next);
    }
    result = product;
}

void shiftLeft(FourState& result, const FourState& left, const FourState& count)
{
    if (count.isUnknown()) {
        result.fill(3);
        return;
    }
    const unsigned int by = shiftCount(count, left.width());
    shiftWordsLeft(result.a(), left.a(), left.words(), by);
    shiftWordsLeft(result.b(), left.b(), left.words(), by);
    result.trim();
}

void shiftRight(FourState& result, const FourState& left, const FourState& count)
{
    if (count.isUnknown()) {
        result.fill(3);
        return;
    }
    const unsigned int by = shiftCount(count, left.width());
    shiftWordsRight(result.a(), left.a(), left.words(), by);
    shiftWordsRight(result.b(), left.b(), left.words(), by);
}

void shiftRightSigned(FourState& result, const FourState& left, const FourState& count)
{
    shiftRight(result, left, count);
    if (count.isUnknown()) {
        return;
    }
    const unsigned int sign = left.bit(left.width() - 1);
    for (unsigned int i = left.width() - shiftCount(count, left.width()); i < left.width(); ++i) {
        result.setBit(i, sign);
    }
}

void reduceAnd(FourState& result, const FourState& operand)
{
    result.setTruth(conjunctionOf(operand));
}

void reduceNand(FourState& result, const FourState& operand)
{
    result.setTruth(negated(conjunctionOf(operand)));
}

void reduceOr(FourState& result, const FourState& operand)
{
    result.setTruth(operand.truth());
}

void reduceNor(FourState& result, const FourState& operand)
{
    result.setTruth(negated(operand.truth()));
}

void reduceXor(FourState& result, const FourState& operand)
{
    result.setTruth(parityOf(operand));
}

void reduceXnor(FourState& result, const FourState& operand)
{
    result.setTruth(negated(parityOf(operand)));
}

void logicalNot(FourState& result, const FourState& operand)
{
    result.setTruth(negated(operand.truth()));
}

void isOneHot(FourState& result, const FourState& operand)
{
    result.setTruth(onesOf(operand) == 1 ? Truth::Yes : Truth::No);
}

void isOneHotOrNone(FourState& result, const FourState& operand)
{
    result.setTruth(onesOf(operand) <= 1 ? Truth::Yes : Truth::No);
}

void hasUnknown(FourState& result, const FourState& operand)
{
    result.setTruth(operand.isUnknown() ? Truth::Yes : Truth::No);
}

void equal(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(equality(left, right));
}

void notEqual(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(negated(equality(left, right)));
}

void same(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(left.isSame(right) ? Truth::Yes : Truth::No);
}

void notSame(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(left.isSame(right) ? Truth::No : Truth::Yes);
}

void fits(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(fitting(left, right));
}

void fitsNot(FourState& result, const FourState& left, const FourState& right)
{
    result.setTruth(negated(fitting(left, right)));
}

void less(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, false, [](int order) { return order < 0; });
}

void lessSigned(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, true, [](int order) { return order < 0; });
}

void lessOrEqual(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, false, [](int order) { return order <= 0; });
}

void lessOrEqualSigned(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, true, [](int order) { return order <= 0; });
}

void greater(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, false, [](int order) { return order > 0; });
}

void greaterSigned(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, true, [](int order) { return order > 0; });
}

void greaterOrEqual(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, false, [](int order) { return order >= 0; });
}

void greaterOrEqualSigned(FourState& result, const FourState& left, const FourState& right)
{
    compare(result, left, right, true, [](int order) { return order >= 0; });
}

void countOnes(FourState& result, const FourState& operand)
{
    result.setNumber(onesOf(operand));
}

void ceilingOfLogarithm(FourState& result, const FourState& operand)
{
    if (operand.isUnknown()) {
        result.fill(3);
        return;
    }
    unsigned int top = operand.width();
    while (top > 0 && operand.bit(top - 1) == 0) {
        --top;
    }
    const bool isPower = onesOf(operand) == 1;
    result.setNumber(top == 0 ? 0 : isPower ? top - 1 : top);
}

void mergeUnknown(FourState& result, const FourState& left, const FourState& right)
{
    bitwise(result, left, right, [](auto& a, auto& b, auto la, auto lb, auto ra, auto rb) {
        b = lb | rb | (la ^ ra);
        a = la | b;
    });
}

} // namespace tracewell
