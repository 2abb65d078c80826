// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"
#include "wave/SignalNames.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tracewell {

/// A signal that both runs have.
struct SignalPair
{
    Signal a;
    Signal b;
    /// Indices into Declarations::objects.
    std::uint32_t objectOfA = 0;
    std::uint32_t objectOfB = 0;
};

/// What two runs have in common, by the names of scopes and variables. Where the ranges of a name
/// differ, as those of two versions of a design may, the rest of it decides if it is unique.
struct SignalPairs
{
    /// In the order of declaration in the first run.
    std::vector<SignalPair> pairs;
    std::vector<std::string> onlyInA;
    std::vector<std::string> onlyInB;
};

/// `signals` are arguments as selectSignals takes them, of one run or the other; none for all.
/// `ignored` are patterns of names to leave out.
/// \throws Failure when an argument fits nothing in either run.
SignalPairs pairSignals(const SignalNames& a, const SignalNames& b,
                        const std::vector<std::string>& signals,
                        const std::vector<std::string>& ignored);

} // namespace tracewell
