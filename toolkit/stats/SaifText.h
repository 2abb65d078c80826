// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "stats/ActivityCounter.h"

#include "names/Declarations.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// A variable whose bits were counted.
struct SaifSignal
{
    /// Index into Declarations::variables.
    std::size_t variable = 0;
    const SignalActivity* activity = nullptr;
};

/// What a SAIF file says of where it comes from.
struct SaifHead
{
    std::string version;
    /// Of the stretch, in simulation time.
    unsigned long long duration = 0;
};

/// Writes switching activity as a backward SAIF file (IEEE 1801, annex on SAIF): instances by the
/// scopes, each bit with its times at 0, 1, x and z and its transitions between 0 and 1. Variables
/// with a direction are ports, others nets. The unit of time is the recording's, or below it
/// where that is none of the format's; parts of a femtosecond are rounded down. `signals` are in
/// the order of their scopes' declaration; `write` takes the text piece by piece.
void writeSaif(const Declarations& declarations, const std::vector<SaifSignal>& signals,
               const SaifHead& head, const std::function<void(std::string_view)>& write);

} // namespace tracewell
