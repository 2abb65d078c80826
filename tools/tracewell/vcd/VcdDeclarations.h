#pragma once

#include "names/Declarations.h"

namespace tracewell {

class VcdInput;

/// The widest variable, in bits: a value of it takes 4 MB.
constexpr unsigned int kMaxWidth = 1U << 24;
/// The deepest nesting of scopes.
constexpr std::size_t kMaxScopeDepth = 512;

/// Reads the declarations, up to and with $enddefinitions; the next word is the first of the value
/// changes. A table without $enddefinitions ends at the first time or $dumpvars.
/// \throws CommandError when a declaration is cut off or makes no sense.
Declarations readDeclarations(VcdInput& input);

} // namespace tracewell
