// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// Any text as the content of an XML element or of a quoted attribute.
std::string escapeXml(std::string_view text);

/// A coordinate, with at most two decimals.
std::string svgNumber(double value);

} // namespace tracewell
