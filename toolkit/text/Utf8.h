// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// Names and texts of a recording come in any encoding. The copy is valid UTF-8 that a terminal,
/// an XML or a JSON reader takes without harm: bytes that are no UTF-8 and control characters come
/// out as U+FFFD.
std::string printable(std::string_view text);
/// Whether all of it is letters, digits, signs and blanks of ASCII: printable() leaves it as it is.
bool isPlainText(std::string_view text);

/// The characters of a valid UTF-8 text, marks that stand upon one with it.
std::vector<std::string_view> charactersOf(std::string_view text);

/// How many places of a character a valid UTF-8 text takes: the wide ones of East Asia take two, a
/// mark that stands upon another none.
std::size_t characterCount(std::string_view text);

/// At most `limit` places of a valid UTF-8 text. A longer one loses its end, or its start, and
/// has "…" there instead.
std::string cutEnd(std::string_view text, std::size_t limit);
std::string cutStart(std::string_view text, std::size_t limit);

} // namespace tracewell
