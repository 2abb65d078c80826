// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "draw/Picture.h"

#include <string>

namespace tracewell {

/// Pixels that a character of a value is wide.
constexpr double kSvgValueCharacter = 6.65;

/// What stays free on both sides of it.
constexpr double kSvgTextMargin = 3;

/// One lane as SVG elements around the line y = 0, from -`amplitude` to `amplitude`; the picture's
/// window is `width` pixels wide.
std::string drawSvgLane(const Lane& lane, const Picture& picture, double width, double amplitude);

} // namespace tracewell
