// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <string>
#include <string_view>

namespace tracewell {

/// Reads a name table from the declarations section of a VCD.
/// \throws Failure when it is cut off or makes no sense; the text names the line.
Declarations parseDeclarations(std::string_view text);

/// Writes the table as the declarations section of a VCD, up to and with $enddefinitions.
std::string writeDeclarations(const Declarations& declarations);

} // namespace tracewell
