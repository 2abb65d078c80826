// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tracewell {

/// What makes no sense in `words`, the arguments behind the program's name, that begin with the
/// name of one of its commands; with what was meant, perhaps, and where to read on. Empty when they
/// can be parsed; then just values may be wrong.
std::string usageComplaint(const CLI::App& app, const std::vector<std::string>& words);

/// Whether a word of the command line is taken for an option: "-" and "-5" are arguments.
bool isOptionWord(const std::string& word);

/// Why `word` is no command.
std::string commandComplaint(const CLI::App& app, const std::string& word);

} // namespace tracewell
