// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"
#include "wave/SignalCursor.h"

#include <string>

namespace CLI {
class App;
class Option;
class Validator;
} // namespace CLI

namespace tracewell {

/// --from and --to of the commands that show a stretch of time.
class WindowOptions
{
public:
    void addTo(CLI::App& command);

    /// The stretch that was asked for; without --to up to `latestTime`. Resolution 0.
    /// \throws CLI::ValidationError when it ends before it starts.
    TimeWindow window(const TimeText& timeText, long long latestTime) const;

    /// Whether a stretch was asked for at all.
    bool isGiven() const { return !m_from.empty() || !m_to.empty(); }

private:
    std::string m_from;
    std::string m_to;
};

/// Takes times as a person writes them: 12.5us, or plain numbers in units of the timescale.
CLI::Validator timeArgument();

constexpr const char* kTimeArgument = "TIME";

/// The TIME of the commands that look at one.
void addTimeArgument(CLI::App& command, std::string& time);

} // namespace tracewell
