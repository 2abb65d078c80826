// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <string>
#include <string_view>
#include <utility>

namespace tracewell {

class VcdInput;

/// The widest variable, in bits: a value of it takes 4 MB.
constexpr unsigned int kMaxWidth = 1U << 24;
/// The deepest nesting of scopes.
constexpr std::size_t kMaxScopeDepth = 512;
/// The most units of a timescale.
constexpr unsigned long long kMaxTimescaleFactor = 1'000'000'000'000ULL;

/// Reads the declarations, up to and with $enddefinitions; the next word is the first of the value
/// changes. A table without $enddefinitions ends at the first time or value change.
/// With `isCutOff`, an input that ends before gives the variables that are whole, if there are any.
/// \throws Failure when a declaration makes no sense, or is cut off.
Declarations readDeclarations(VcdInput& input, bool* isCutOff = nullptr);

/// Takes "data [7:0]" and "data[7:0]" apart, as the declaration of a variable of so many bits is
/// read: the name and the range, which is empty where none fits.
std::pair<std::string, std::string> splitVariableName(std::string_view text, unsigned int width);

} // namespace tracewell
