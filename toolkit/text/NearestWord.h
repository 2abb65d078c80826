// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

std::string lowerCase(std::string_view text);

/// Insertions, deletions and replacements that turn one text into the other; more than `limit` may
/// come out as limit + 1.
std::size_t editDistance(const std::string& a, const std::string& b, std::size_t limit);

/// How many letters may differ in what somebody may have meant by `wanted`. Of a single one,
/// another one tells nothing.
std::size_t mostDifferences(const std::string& wanted);

/// The one of `words`, which are in small letters, that somebody may have meant; or nothing.
std::string nearestWord(std::string_view word, const std::vector<std::string>& words);

} // namespace tracewell
