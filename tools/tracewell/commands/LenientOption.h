// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <CLI/App.hpp>

namespace tracewell {

/// The option --lenient of the commands that take a VCD.
inline void addLenientOption(CLI::App& command, bool& isLenient)
{
    command.add_flag("--lenient", isLenient,
                     "Read a VCD on where it makes no sense, and tell at the end: times that go "
                     "back are taken at the last time; values of codes that nobody declared and "
                     "words that are no change are left out");
}

} // namespace tracewell
