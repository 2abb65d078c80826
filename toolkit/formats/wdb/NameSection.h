// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string_view>

namespace tracewell {

/// The section of a container that holds the name table.
constexpr const char* kNameSection = "Zelnix DBG";
constexpr unsigned int kNameSectionVersion = 1;

/// True for the declarations section of a VCD; other programs keep other things there.
inline bool isNameTable(std::string_view text)
{
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    return start != std::string_view::npos && text[start] == '$' &&
           text.find("$enddefinitions") != std::string_view::npos;
}

} // namespace tracewell
