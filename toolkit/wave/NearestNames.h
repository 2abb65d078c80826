// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalNames.h"

#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// At most three signals of the recording whose names somebody may have meant by `name`: those that
/// end in it, and those that differ from it by a few characters.
std::vector<std::string> nearestNames(std::string_view name, const SignalNames& file);

} // namespace tracewell
