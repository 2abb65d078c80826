// SPDX-License-Identifier: BSD-3-Clause

#include "values/FourState.h"

#include "values/VcdValues.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

constexpr unsigned int kBitsOfGroup = 32;

std::size_t wordsOf(unsigned int width)
{
    return (std::size_t{width} + FourState::kBitsOfWord - 1) / FourState::kBitsOfWord;
}

std::uint64_t lastMask(unsigned int width)
{
    const unsigned int rest = width % FourState::kBitsOfWord;
    return rest == 0 ? ~std::uint64_t{0} : (std::uint64_t{1} << rest) - 1;
}

} // namespace

FourState::FourState(unsigned int width)
    : m_width(std::max(width, 1u)), m_count(wordsOf(m_width)),
      m_many(m_count == 1 ? 0 : 2 * m_count)
{
    fill(3);
}

FourState FourState::ofText(std::string_view text)
{
    constexpr unsigned int kBitsOfCharacter = 8;
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

unsigned int FourState::bit(unsigned int index) const
{
    if (index >= m_width) {
        return 3;
    }
    const std::size_t word = index / kBitsOfWord;
    const unsigned int shift = index % kBitsOfWord;
    return static_cast<unsigned int>((a()[word] >> shift & 1) | (b()[word] >> shift & 1) << 1);
}

void FourState::setBit(unsigned int index, unsigned int state)
{
    const std::uint64_t mask = std::uint64_t{1} << index % kBitsOfWord;
    const std::size_t word = index / kBitsOfWord;
    a()[word] = (state & 1) != 0 ? a()[word] | mask : a()[word] & ~mask;
    b()[word] = (state & 2) != 0 ? b()[word] | mask : b()[word] & ~mask;
}

void FourState::fill(unsigned int state)
{
    std::fill_n(a(), words(), (state & 1) != 0 ? ~std::uint64_t{0} : 0);
    std::fill_n(b(), words(), (state & 2) != 0 ? ~std::uint64_t{0} : 0);
    trim();
}

void FourState::setNumber(std::uint64_t number)
{
    std::fill_n(a(), 2 * m_count, 0);
    a()[0] = number;
    trim();
}

void FourState::setLetters(std::string_view letters)
{
    for (unsigned int i = 0; i < m_width; ++i) {
        setBit(i, nearestFourState(letterCode(letters[m_width - 1 - i])));
    }
}

void FourState::setGroups(const unsigned char* groups)
{
    const auto word = [&](std::size_t group, std::size_t part) {
        std::uint32_t value = 0;
        std::memcpy(&value, groups + 8 * group + 4 * part, sizeof value);
        return std::uint64_t{value};
    };
    const std::size_t count = (std::size_t{m_width} + kBitsOfGroup - 1) / kBitsOfGroup;
    for (std::size_t group = 0; group < count; group += 2) {
        const bool hasSecond = group + 1 < count;
        a()[group / 2] = word(group, 0) | (hasSecond ? word(group + 1, 0) << kBitsOfGroup : 0);
        b()[group / 2] = word(group, 1) | (hasSecond ? word(group + 1, 1) << kBitsOfGroup : 0);
    }
    trim();
}

void FourState::setExtended(const FourState& other, bool isSigned)
{
    const std::size_t taken = std::min(words(), other.words());
    const unsigned int filling = isSigned ? other.bit(other.m_width - 1) : 0;
    const auto take = [&](std::uint64_t* to, const std::uint64_t* from, bool isFilled) {
        std::copy_n(from, taken, to);
        std::fill(to + taken, to + words(), isFilled ? ~std::uint64_t{0} : 0);
        if (isFilled && other.m_width < m_width) {
            to[taken - 1] |= ~lastMask(other.m_width);
        }
    };
    take(a(), other.a(), (filling & 1) != 0);
    take(b(), other.b(), (filling & 2) != 0);
    trim();
}

void FourState::setBits(unsigned int first, const FourState& other)
{
    const std::size_t word = first / kBitsOfWord;
    const unsigned int shift = first % kBitsOfWord;
    const auto put = [&](std::uint64_t* to, const std::uint64_t* from) {
        for (std::size_t i = 0; i < other.words(); ++i) {
            const std::uint64_t taken =
                i + 1 == other.words() ? lastMask(other.m_width) : ~std::uint64_t{0};
            to[word + i] = (to[word + i] & ~(taken << shift)) | from[i] << shift;
            if (shift != 0 && word + i + 1 < words()) {
                const unsigned int rest = kBitsOfWord - shift;
                to[word + i + 1] = (to[word + i + 1] & ~(taken >> rest)) | from[i] >> rest;
            }
        }
    };
    put(a(), other.a());
    put(b(), other.b());
}

void FourState::setSelected(const FourState& other, long long first)
{
    if (first >= 0 && first + m_width <= kBitsOfWord && first + m_width <= other.m_width) {
        a()[0] = other.a()[0] >> first;
        b()[0] = other.b()[0] >> first;
        trim();
        return;
    }
    for (unsigned int i = 0; i < m_width; ++i) {
        const long long at = first + i;
        setBit(i, at < 0 || at >= other.m_width ? 3 : other.bit(static_cast<unsigned int>(at)));
    }
}

void FourState::trim()
{
    a()[words() - 1] &= lastMask(m_width);
    b()[words() - 1] &= lastMask(m_width);
}

bool FourState::isUnknown() const
{
    return std::any_of(b(), b() + words(), [](std::uint64_t word) { return word != 0; });
}

std::optional<long long> FourState::number(bool isSigned) const
{
    if (isUnknown()) {
        return std::nullopt;
    }
    const bool isNegative = isSigned && bit(m_width - 1) == 1;
    const std::uint64_t rest = isNegative ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 1; i < words(); ++i) {
        const std::uint64_t expected = i + 1 == words() ? rest & lastMask(m_width) : rest;
        if (a()[i] != expected) {
            return std::nullopt;
        }
    }
    std::uint64_t low = a()[0];
    if (words() == 1 && isNegative) {
        low |= ~lastMask(m_width);
    }
    if ((low >> (kBitsOfWord - 1) != 0) != isNegative) {
        return std::nullopt;
    }
    return static_cast<long long>(low);
}

double FourState::real(bool isSigned) const
{
    double value = 0;
    for (std::size_t i = words(); i-- > 0;) {
        value = std::ldexp(value, kBitsOfWord) + static_cast<double>(a()[i] & ~b()[i]);
    }
    return isSigned && bit(m_width - 1) == 1 ? value - std::ldexp(1.0, static_cast<int>(m_width))
                                             : value;
}

} // namespace tracewell
