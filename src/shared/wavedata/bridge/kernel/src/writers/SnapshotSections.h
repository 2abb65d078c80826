// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace Tracewell {

class WdbFileManager;

/// Embeds the debug file and the run-time type file of a snapshot where they exist.
void embedSnapshot(WdbFileManager& file, const std::string& snapshot);

} // namespace Tracewell
