// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace tracewell {

// The numbers that FST has for what declarations name by words: a word's place in the list.

constexpr std::string_view kFstScopes[] = {"module",
                                           "task",
                                           "function",
                                           "begin",
                                           "fork",
                                           "generate",
                                           "struct",
                                           "union",
                                           "class",
                                           "interface",
                                           "package",
                                           "program",
                                           "vhdl_architecture",
                                           "vhdl_procedure",
                                           "vhdl_function",
                                           "vhdl_record",
                                           "vhdl_process",
                                           "vhdl_block",
                                           "vhdl_for_generate",
                                           "vhdl_if_generate",
                                           "vhdl_generate",
                                           "vhdl_package"};

constexpr std::string_view kFstVariables[] = {
    "event", "integer",  "parameter", "real",    "real_parameter", "reg",      "supply0", "supply1",
    "time",  "tri",      "triand",    "trior",   "trireg",         "tri0",     "tri1",    "wand",
    "wire",  "wor",      "port",      "sparray", "realtime",       "string",   "bit",     "logic",
    "int",   "shortint", "longint",   "byte",    "enum",           "shortreal"};

/// Types of VHDL; the first stands for none.
constexpr std::string_view kFstDataTypes[] = {
    "",          "boolean",          "bit",      "bit_vector", "std_ulogic", "std_ulogic_vector",
    "std_logic", "std_logic_vector", "unsigned", "signed",     "integer",    "real",
    "natural",   "positive",         "time",     "character",  "string"};

constexpr unsigned int kFstPort = 18;
constexpr unsigned int kFstSigned = 9;

template <std::size_t Count>
constexpr std::optional<unsigned int> findFstWord(const std::string_view (&words)[Count],
                                                  std::string_view word)
{
    for (unsigned int i = 0; i < Count; ++i) {
        if (words[i] == word) {
            return i;
        }
    }
    return std::nullopt;
}

/// Kinds of blocks.
enum class FstBlockKind : unsigned char {
    Header = 0,
    Changes = 1,
    Blackout = 2,
    Geometry = 3,
    Hierarchy = 4,
    ChangesWithAliases = 5,
    HierarchyLz4 = 6,
    HierarchyLz4Twice = 7,
    ChangesWithAliases2 = 8,
    Wrapper = 254,
    Skipped = 255
};

} // namespace tracewell
