// SPDX-License-Identifier: BSD-3-Clause

#include "recorder/TimeOption.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

namespace tracewell {

std::optional<double> parseSeconds(std::string_view text)
{
    constexpr double kMost = 1e9;
    const std::optional<double> seconds = parseNumber<double>(text);
    return seconds && *seconds >= 0 && *seconds <= kMost ? seconds : std::nullopt;
}

std::optional<long long> parseTime(const std::string& text, const Timescale& timescale)
{
    // A floating-point number has not all digits of a late one.
    if (const std::optional<long long> units = parseNumber<long long>(text); units && *units >= 0) {
        return units;
    }
    static constexpr std::pair<std::string_view, int> kUnits[] = {
        {"s", 0}, {"ms", -3}, {"us", -6}, {"ns", -9}, {"ps", -12}, {"fs", -15}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
    double number = 0;
    const char* const end = text.data() + digits;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (digits == 0 || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    if (const std::string_view unit = std::string_view(text).substr(digits); !unit.empty()) {
        const auto* const known =
            std::find_if(std::begin(kUnits), std::end(kUnits),
                         [&](const auto& each) { return each.first == unit; });
        if (known == std::end(kUnits)) {
            return std::nullopt;
        }
        number *= std::pow(10.0, known->second - timescale.exponent);
        number /= static_cast<double>(timescale.factor);
    }
    const double units = std::floor(number + 1e-6);
    if (units >= static_cast<double>(std::numeric_limits<long long>::max())) {
        return std::nullopt;
    }
    return static_cast<long long>(units);
}

} // namespace tracewell
