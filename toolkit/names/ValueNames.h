// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <string>
#include <string_view>

namespace tracewell {

/// Reads names for values from a text with one of each a line, NAME VALUE; blank lines and what is
/// behind a "#" are left out. A value is decimal, or 0x1f, 0b10x, 8'h1f, 5'b10x; x and z stand for
/// themselves where the base has them. A text all of whose lines begin with a value and do not end
/// with one, as those of GTKWave's filters, has them the other way round, and its plain values are
/// hexadecimal.
/// \throws Failure with the number of a line that makes no sense. `place` is the text's, for
/// messages.
Enumeration readValueNames(std::string_view text, const std::string& place);

} // namespace tracewell
