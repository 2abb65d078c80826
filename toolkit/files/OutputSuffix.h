// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace tracewell {

/// The suffix of an output's name, as ".png", in small letters; one that is in `written` or empty.
/// Empty too for what is no regular file: a device or a pipe takes anything.
/// \throws Failure for another one: nobody gets a VCD by the name of an FST.
std::string checkSuffix(const std::string& output, const std::vector<std::string>& written);

/// The names of a command's input and output are easily taken for each other, and what is in the
/// output is lost.
/// \throws Failure where a wave database would get the name of another format.
void requireDatabaseName(const std::string& output);

} // namespace tracewell
