#pragma once

#include "draw/Lane.h"

#include <string>

namespace tracewell {

/// One lane as SVG elements around the line y = 0; the window is `width` pixels wide.
std::string drawSvgLane(const Lane& lane, const TimeWindow& window, double width);

} // namespace tracewell
