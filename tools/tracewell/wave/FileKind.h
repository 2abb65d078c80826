#pragma once

#include <string>

namespace tracewell {

/// Makes sure that `path` is a file that begins as a wave database does.
/// \throws CommandError that says what the file is instead and what to do with it.
void requireWaveDatabase(const std::string& path);

} // namespace tracewell
