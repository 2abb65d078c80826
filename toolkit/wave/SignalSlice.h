// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"
#include "wave/Signal.h"
#include "wave/SignalNames.h"

#include <optional>
#include <string>
#include <string_view>

namespace tracewell {

/// Some bits of a vector, by their numbers in its declaration: what stands behind its name in
/// "top.bus[7:4]" or "top.bus[3]".
struct BitRange
{
    long long left = 0;
    long long right = 0;
};

/// The name in front of a range, and the range; none for an argument that ends in another way.
struct SliceArgument
{
    std::string name;
    BitRange bits;
};
std::optional<SliceArgument> parseSlice(std::string_view argument);

/// The numbers of a signal's bits: as declared, or counted from 0.
BitRange numbersOf(const Variable& variable, unsigned int width);

/// Those bits of a signal as one of its own. `variable` is the signal's; `plainLabel` its label
/// without the range.
/// \throws Failure for bits that it does not have.
Signal makeSlice(const SignalNames& file, const Signal& signal, const Variable& variable,
                 const std::string& plainLabel, const BitRange& bits);

} // namespace tracewell
