// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

enum class FileKind {
    Events,      ///< a container with an event database
    Columns,     ///< a container with a recording in columns
    Transitions, ///< a transition database, finished or not
};

/// What a person calls such a file, with its article: "a transition database".
const char* describe(FileKind kind);

/// Tells the kinds of wave databases apart by their first bytes.
/// \throws Failure that says what the file is instead and what to do with it.
FileKind findFileKind(const std::string& path);

/// True for what is a run to be read by InputRun: a VCD, an FST or GHW file, what is packed, the
/// standard input "-", or a pipe.
bool isRun(const std::string& path);

} // namespace tracewell
