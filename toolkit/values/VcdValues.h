// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/Letters.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tracewell {

/// Marks a byte that is no letter of a value.
constexpr std::uint8_t kNoLetter = 0xff;
constexpr std::uint8_t kLetter0 = 0;
constexpr std::uint8_t kLetterX = 3;

/// Code of a letter (see kLetters), in either case, or kNoLetter.
extern const std::array<std::uint8_t, 256> kLetterCodes;

inline std::uint8_t letterCode(char letter)
{
    return kLetterCodes[static_cast<unsigned char>(letter)];
}

/// The four-state code nearest to a letter code: u and w and - are x, l is 0, h is 1.
std::uint8_t nearestFourState(std::uint8_t code);
/// The letters of the states in front of a port's strengths in an extended VCD: "DDUU 66 00".
std::string portLetters(std::string_view text);

/// The letter with a code; x for what is no code.
inline char letterOf(unsigned int code)
{
    return kLetters[code < kLetterCount ? code : kLetterX];
}
/// A letter as simulators write it: x and z small, those that only nine-state logic has in
/// capitals.
char spelledLetter(char letter);
/// Whether all of a text are letters of a value.
bool areLetters(std::string_view text);

enum class VectorForm {
    Exact,   ///< the groups hold all that the letters say
    Nearest, ///< nine-state letters, or more letters than bits: the groups hold the nearest value
    Invalid  ///< a byte that is no letter
};

/// Bytes of a vector's groups: 8 for every 32 bits.
inline std::size_t groupBytes(unsigned int width)
{
    return 8 * ((std::size_t{width} + 31) / 32);
}

/// Converts the letters of a vector, the leftmost first, to groups (see DataLayout). Missing
/// letters are taken from the leftmost one, 0 in place of 1; letters in excess are dropped.
VectorForm toGroups(std::string_view letters, unsigned int width, unsigned char* groups);

/// Appends the letters of a vector, without those that a reader adds by itself.
void appendLetters(std::string& out, const unsigned char* groups, unsigned int width);

/// Exactly `width` lower-case letters, or more when the letters in excess say more.
std::string canonicalLetters(std::string_view letters, unsigned int width);

enum class RealForm {
    Exact,   ///< the nearest double to the text
    Nearest, ///< the text says more than a double: beyond its range, or a NaN with a payload
    Invalid
};

RealForm toReal(std::string_view text, double& value);
/// Appends the shortest text that gives the same double.
void appendReal(std::string& out, double value);

} // namespace tracewell
