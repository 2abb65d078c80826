#pragma once

#include "names/Declarations.h"

#include <optional>
#include <string>

namespace tracewell {

/// A time as users write it: a number in units of the timescale ("12"), or one with a unit
/// ("2.5us"). None when it is no time.
std::optional<long long> parseTime(const std::string& text, const Timescale& timescale);

} // namespace tracewell
