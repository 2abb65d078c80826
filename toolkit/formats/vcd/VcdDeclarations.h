// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

namespace tracewell {

class VcdInput;

/// The widest variable, in bits: a value of it takes 4 MB.
constexpr unsigned int kMaxWidth = 1U << 24;
/// The deepest nesting of scopes.
constexpr std::size_t kMaxScopeDepth = 512;

/// Reads the declarations, up to and with $enddefinitions; the next word is the first of the value
/// changes. A table without $enddefinitions ends at the first time or value change.
/// With `isCutOff`, an input that ends before gives the variables that are whole, if there are any.
/// \throws Failure when a declaration makes no sense, or is cut off.
Declarations readDeclarations(VcdInput& input, bool* isCutOff = nullptr);

} // namespace tracewell
