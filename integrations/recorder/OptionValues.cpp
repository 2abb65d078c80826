// SPDX-License-Identifier: BSD-3-Clause

#include "recorder/OptionValues.h"

namespace tracewell {

std::optional<double> parseSeconds(std::string_view text)
{
    constexpr double kMost = 1e9;
    const std::optional<double> seconds = parseNumber<double>(text);
    return seconds && *seconds >= 0 && *seconds <= kMost ? seconds : std::nullopt;
}

std::optional<int> parseChannel(std::string_view text)
{
    const std::optional<int> number = text.empty() ? 0 : parseNumber<int>(text);
    return number && *number >= 0 && *number <= kMostChannels ? number : std::nullopt;
}

} // namespace tracewell
