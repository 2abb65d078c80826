// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "platform/SharedRegion.h"

#include <cstddef>
#include <string>

namespace Tracewell {

enum class RegionMode { Open, Create };

/// Opens or creates a region, and tells of a failure.
bool attachRegion(SharedRegion& region, RegionMode mode, const std::string& name, std::size_t size,
                  const std::string& description);
/// Tells, with the cause in errno, what kept a region from being attached: in a line on the
/// standard output and, where the reason is known to lie in what another process did or left
/// behind, in one on the standard error stream with `description` as its subject. A ChannelRefusal
/// keeps both.
void tellFailure(SharedRegion::Outcome outcome, RegionMode mode, std::size_t size,
                 const std::string& description);

} // namespace Tracewell
