// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace tracewell {

/// The highest number of a live channel.
constexpr int kMostChannels = 1000000;

/// The whole text as a number, or none.
template <class Number> std::optional<Number> parseNumber(std::string_view text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

/// A number of seconds between two syncs, 0 for never. None when it is not that, or more than a
/// clock counts.
std::optional<double> parseSeconds(std::string_view text);

/// A time as users write it: a number in units of the timescale ("12"), or one with a unit
/// ("2.5us"). None when it is no time.
std::optional<long long> parseTime(const std::string& text, const Timescale& timescale);

} // namespace tracewell
