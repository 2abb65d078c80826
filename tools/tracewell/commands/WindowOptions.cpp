// SPDX-License-Identifier: BSD-3-Clause

#include "commands/WindowOptions.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

CLI::Validator timeArgument()
{
    return CLI::Validator(
        [](std::string& text) { return isTimeArgument(text) ? std::string() : whyNoTime(text); },
        "", "time");
}

void addTimeArgument(CLI::App& command, std::string& time)
{
    command
        .add_option(kTimeArgument, time,
                    "A number in units of the timescale, or with a unit (12.5us)")
        ->required()
        ->check(timeArgument());
}

void WindowOptions::addTo(CLI::App& command)
{
    command
        .add_option("--from", m_from,
                    "Start of the stretch to show: a number in units of the timescale, or with a "
                    "unit (12.5us)")
        ->type_name("TIME")
        ->check(timeArgument());
    command.add_option("--to", m_to, "End of the stretch; the end of the recording if not given")
        ->type_name("TIME")
        ->check(timeArgument());
}

TimeWindow WindowOptions::window(const TimeText& timeText, long long latestTime) const
{
    TimeWindow window;
    if (!m_from.empty()) {
        window.from = timeText.parse("--from", m_from, Rounding::Down);
    }
    window.to = m_to.empty() ? std::max(latestTime, window.from)
                             : timeText.parse("--to", m_to, Rounding::Down);
    if (window.to < window.from) {
        throw CLI::ValidationError("--to", fmt::format("{} lies before the start of the stretch",
                                                       timeText.format(window.to)));
    }
    return window;
}

} // namespace tracewell
