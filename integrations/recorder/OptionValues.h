// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"

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
/// The number of a live channel, 0 for an empty text.
std::optional<int> parseChannel(std::string_view text);

/// What a message says of an argument or a variable that is none of these.
constexpr const char* kNoSeconds = "is no number of seconds; write 0.5, say, or 0 for never";
constexpr const char* kNoChannel = "is no channel number; write one from 0 to 1000000";
static_assert(kMostChannels == 1000000);
constexpr const char* kNoStore = "is no store; there are events, columns and transitions";

/// A time that the user chose, which can be read once the timescale is known.
struct TimeOption
{
    /// The argument or the variable by which it was given: "+tracewell-start".
    std::string source;
    std::string text;

    bool isGiven() const { return !source.empty(); }
    /// As it was given: "+tracewell-start=2us".
    std::string argument() const { return source + "=" + text; }
    /// See TimeText.
    /// \throws Failure, with a text that begins with `source`.
    long long in(const TimeText& timeText) const
    {
        return timeText.parse(source, text, Rounding::Down);
    }
};

} // namespace tracewell
