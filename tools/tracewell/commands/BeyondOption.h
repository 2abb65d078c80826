// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Shortfalls.h"

#include <CLI/App.hpp>

namespace tracewell {

inline void addBeyondOption(CLI::App& command, Reach& reach)
{
    command.add_flag_callback(
        "--beyond", [&reach] { reach = Reach::Beyond; },
        "Of a recording that was never closed, show also what lies behind the time up to which it "
        "is whole, where values may be in part");
}

} // namespace tracewell
