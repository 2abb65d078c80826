#pragma once

#include <string>

namespace Tracewell {

/// Ends the process over a broken storage path: prints the literal and the system's text for the
/// current errno as one line on the standard error stream, then exits with status 1 at once. No
/// destructor runs, so what has not reached the operating system is lost. Every fatal line of the
/// library goes through here.
[[noreturn]] void reportFatalError(const std::string& literal);

} // namespace Tracewell
