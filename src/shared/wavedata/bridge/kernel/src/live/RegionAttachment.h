#pragma once

#include <cstddef>
#include <string>

namespace Tracewell {

class SharedRegion;

enum class RegionMode { Open, Create };

/// Opens or creates a region. A failure is told in a line on the standard output; where the reason
/// is known to lie in what another process did or left behind, a line on the standard error stream
/// tells it, with `description` as its subject.
bool attachRegion(SharedRegion& region, RegionMode mode, const std::string& name, std::size_t size,
                  const std::string& description);

} // namespace Tracewell
