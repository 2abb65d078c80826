// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"

#include "WdbDamageLog.h"

#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// One line on what was met in a recording, which must be something: the first place, how many more
/// there are, up to when the answers are whole, and what tells more. A bucket is told where
/// `division`, its addresses, is not 0. Without `end` the loss does not depend on time; below 0
/// nothing is whole.
std::string describeDamage(const std::vector<Tracewell::WdbDamage>& places,
                           unsigned long long division, const TimeText& timeText,
                           std::optional<long long> end);

} // namespace tracewell
