// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// What stands behind the program's three standard streams.
enum class StandardStream { Input = 0, Output = 1, Error = 2 };

bool isTerminal(StandardStream stream);

/// Columns of the terminal behind the standard output; `fallback` when there is none.
unsigned int terminalColumns(unsigned int fallback);

/// Rows of the terminal, or `fallback` where there is none.
unsigned int terminalRows(unsigned int fallback);

/// Where temporary files go: what TMPDIR names, be it there or not, or the system's place.
std::string temporaryDirectory();
/// Makes a new directory for this process alone in the place for temporary files.
/// \throws Failure
std::string makePrivateDirectory();

} // namespace tracewell
