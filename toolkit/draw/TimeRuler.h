// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"
#include "wave/SignalCursor.h"

#include <string>
#include <vector>

namespace tracewell {

struct RulerTick
{
    /// 0 at the start of the window, 1 at its end.
    double position = 0;
    /// Empty for the small ticks between two labels.
    std::string label;
};

/// Ticks at round times: one, two or five times a power of ten of a second, or of the unit when the
/// timescale is not known. `width` is the length of the ruler, `characterWidth` that of a character
/// of a label, in the same measure.
std::vector<RulerTick> makeRuler(const TimeWindow& window, const TimeText& timeText, double width,
                                 double characterWidth);

} // namespace tracewell
