// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tracewell {

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
    explicit ValueText(Lookup lookup) : m_lookup(std::move(lookup)) {}

    /// Valid UTF-8; empty for a blank, kDenseMark for a dense state.
    std::string format(const Signal& signal, const SignalState& state) const;

    /// A scalar's or vector's letters of 0 1 x z u w l h -, the leftmost first; empty for other
    /// forms, and for a text in place of bits.
    std::string letters(const Signal& signal, const SignalState& state) const;

    /// The number that a vector without unknown bits, a real or an object holds; none for anything
    /// else.
    std::optional<double> number(const Signal& signal, const SignalState& state) const;

    /// The name that a value with these letters has and is shown by; null where there is none.
    static const std::string* nameOf(const Signal& signal, std::string_view letters);

    /// The letters of a value change, brought to a width as value changes are read: missing ones on
    /// the left repeat the leftmost letter, or are 0 behind a 1.
    static std::string widen(std::string letters, unsigned int width);

    /// By its word: auto, bin, oct, dec, signed, hex, ascii.
    static std::optional<Radix> findRadix(std::string_view word);

    /// Automatic resolved by the signal's kind; Signed for decimal where the kind has a sign.
    static Radix radixOf(const Signal& signal);

    /// The letters in a radix that radixOf gives.
    static std::string formatLetters(std::string_view letters, Radix radix);

private:
    std::string textOf(const TextReference& reference) const;

    Lookup m_lookup;
};

} // namespace tracewell
