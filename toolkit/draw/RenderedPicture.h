// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// What a picture is written as.
enum class PictureFormat { Svg, Png, Pdf };

/// An SVG as PNG, pixel for pixel, or as PDF of one page. Loads librsvg for it, which nothing else
/// of the program pays for.
/// \throws Failure when the library is not there or cannot do it; the text begins with `path`,
/// the file that it is for.
std::string renderPicture(const std::string& svg, PictureFormat format, const std::string& path);

} // namespace tracewell
