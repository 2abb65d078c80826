// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/TimeText.h"
#include "wave/SignalCursor.h"

#include <string>
#include <vector>

namespace tracewell {

/// A row of a heat picture.
struct HeatRow
{
    std::string label;
    /// Changes in each slot, one behind the other from the start of the window on.
    std::vector<unsigned long long> changes;
    unsigned long long total = 0;
};

/// When signals change how often, as colours.
struct HeatPicture
{
    std::string title;
    TimeText timeText;
    TimeWindow window;
    /// In simulation time.
    long long slotLength = 1;
    std::vector<HeatRow> rows;
    /// Something that a person who looks at it must know; may be empty.
    std::string note;
};

/// The picture as SVG, `width` pixels wide. The colours are told apart by their lightness, so that
/// everybody sees them in order; the steps between them are powers of a number of changes.
std::string drawHeat(const HeatPicture& picture, unsigned int width);

} // namespace tracewell
