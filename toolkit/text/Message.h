// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// One line on the standard error stream, with the program's name in front. Whatever names it
/// holds, a terminal takes it without harm.
void tell(std::string_view line);

/// What somebody wrote, in quotes for a message. Only the beginning, when it is too long.
std::string quotation(std::string_view text);

/// What some file holds, in quotes for a message: odd bytes escaped, cut when it is long.
std::string inQuotes(std::string_view text);

} // namespace tracewell
