// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "recorder/OptionValues.h"
#include "recorder/Recorder.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tracewell::vpi {

/// A scope and how many levels of it are recorded: 1 is its own variables alone, 0 everything
/// below.
struct ScopeChoice
{
    std::string name;
    unsigned int levels = 0;
};

// clang-format off
/// What the user asks for when starting the simulator, by plus arguments or by variables of the
/// environment. Times are numbers in units of the precision, or with a unit.
///
/// | +tracewell=FILE        | TRACEWELL       | record into this file                            |
/// | +tracewell-live[=N]    | TRACEWELL_LIVE  | send to a viewer on live channel N, 0 by default |
/// | +tracewell-scope=S[:N] | TRACEWELL_SCOPE | N levels of scope S only; more than one, or commas between |
/// | +tracewell-start=T     | TRACEWELL_START | from time T on                                   |
/// | +tracewell-stop=T      | TRACEWELL_STOP  | up to time T                                     |
/// | +tracewell-last=T      | TRACEWELL_LAST  | keep about the last T before the end             |
/// | +tracewell-sync=S      | TRACEWELL_SYNC  | readable by others every S seconds, 0 for never  |
/// | +tracewell-store=KIND  | TRACEWELL_STORE | events or transitions                            |
// clang-format on
struct Options
{
    RecorderOptions recorder;
    /// By argument, and not only by a task of the design.
    bool isAsked = false;
    /// An argument that says how to record, but not where to; empty for none, or when something
    /// else was complained of.
    std::string companion;
    std::vector<ScopeChoice> scopes;
    TimeOption start;
    TimeOption stop;
    TimeOption last;
};

/// `environment` gives a variable's value, null for none. What cannot be understood is told to
/// `complain`, a line each, and left out.
Options readOptions(const std::vector<std::string>& arguments,
                    const std::function<const char*(const char*)>& environment,
                    const std::function<void(const std::string&)>& complain);

} // namespace tracewell::vpi
