// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

// What stands behind $attrbegin in a name table that a VCD's declarations hold. Type 2 and 7 are
// what FST tools write beside a VCD; 8 is the one that FST leaves to others.

/// NAME 0: the type of the next variable in its source.
constexpr std::string_view kTypeAttribute = "misc 02";
/// NAME COUNT, as many names, as many values, NUMBER: an enumeration; "" NUMBER gives it to the
/// next variable.
constexpr std::string_view kEnumerationAttribute = "misc 07";
/// NUMBER: the Direction of the next variable.
constexpr std::string_view kDirectionAttribute = "misc 08 direction";
/// 1: the leftmost bit of the next variable is a sign.
constexpr std::string_view kSignedAttribute = "misc 08 signed";

/// A name as one word: what is no letter, digit or sign of ASCII, and the backslash, is "\\xHH".
std::string attributeWord(std::string_view name);
/// Takes that back.
std::string nameOfWord(std::string_view word);

} // namespace tracewell
