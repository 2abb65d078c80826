#pragma once

#include "wave/Signal.h"

#include <functional>
#include <string>
#include <string_view>

namespace tracewell {

/// Automatic is decimal for the kinds that count (integer, int, time, parameter, ...) and
/// hexadecimal for other vectors.
enum class Radix { Automatic, Binary, Octal, Decimal, Hexadecimal };

/// Stands for a value where changes lie closer together than the resolution.
constexpr std::string_view kDenseMark = "~~~~";

/// Turns the bytes of a signal into what a person reads.
///
/// Letters are lower case: x z of four states, u w l h - of nine. In octal and hexadecimal a digit
/// whose bits share one letter is that letter; a capital X or Z is a digit in which only some bits
/// are x (or another letter without a level) or z. Reals are the shortest text that reads back as
/// the same number, strings stand in double quotes, or as ? when their text is not in the file, an
/// event is "!" where it fired, with "x3" behind it when it fired three times at once.
class ValueText
{
public:
    using Lookup = std::function<std::string(long long id)>;

    /// `lookup` gives the texts of the recording's string map.
    ValueText(Lookup lookup, Radix radix) : m_lookup(std::move(lookup)), m_radix(radix) {}

    /// Valid UTF-8; empty for a blank, kDenseMark for a dense state.
    std::string format(const Signal& signal, const SignalState& state) const;

    /// A scalar's or vector's letters of 0 1 x z u w l h -, the leftmost first; empty for other
    /// forms, and for a text in place of bits.
    std::string letters(const Signal& signal, const SignalState& state) const;

    /// The letters in a radix; `isSigned` counts for decimal alone.
    static std::string formatLetters(std::string_view letters, Radix radix, bool isSigned);

private:
    std::string textOf(const TextReference& reference) const;
    Radix radixOf(const Signal& signal) const;

    Lookup m_lookup;
    Radix m_radix;
};

} // namespace tracewell
