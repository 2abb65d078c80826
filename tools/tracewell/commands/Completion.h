// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tracewell {

/// What may stand for the last of `words`, the arguments behind the program's name as the program
/// would get them, up to the cursor: what the completions of the shells ask for. A text of lines,
/// each a letter and a text with a tab between them, a description perhaps behind another tab:
///   w  a whole word
///   p  the start of a word, which goes on
///   f  the names of files, behind that text
///   d  the names of directories, likewise
/// Signals are those of the recordings on the line. One that is not read soon gives none: the
/// process ends. Opens nothing but regular files, and complains of nothing.
std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words);

} // namespace tracewell
