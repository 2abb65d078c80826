// SPDX-License-Identifier: BSD-3-Clause

#include "draw/SvgText.h"

#include "text/Utf8.h"

#include <fmt/format.h>

namespace tracewell {

std::string escapeXml(std::string_view text)
{
    std::string result;
    for (const char c : printable(text)) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string svgNumber(double value)
{
    std::string text = fmt::format("{:.2f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

} // namespace tracewell
