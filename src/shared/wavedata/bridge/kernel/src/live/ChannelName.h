// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace Tracewell {

/// The absolute form of a path, by the directory in which this process works.
std::string makeAbsolute(const std::string& path);

/// The system's name for a region that both sides of a channel find by the same inputs: a prefix, a
/// path, and whatever else tells it from others (`key`, put between the two; and `suffix`). Letters
/// of the path are lowered and its separators folded to keep the name readable; a hash of the exact
/// inputs and of the user keeps apart what looks alike by that, or by being cut to the length that
/// the system allows.
std::string makeRegionName(const std::string& prefix, const std::string& key,
                           const std::string& absolutePath, const std::string& suffix);

} // namespace Tracewell
