// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveScreen.h"

#include "files/Output.h"
#include "files/Terminal.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

constexpr unsigned int kUsualColumns = 80;
constexpr unsigned int kUsualRows = 24;

} // namespace

std::size_t LiveScreen::rows()
{
    const unsigned int all = terminalRows(kUsualRows);
    // The cursor stands below the last line.
    return all > 1 ? all - 1 : 1;
}

unsigned int LiveScreen::columns()
{
    return terminalColumns(kUsualColumns);
}

void LiveScreen::show(const std::vector<std::string>& lines)
{
    const std::size_t room = rows();
    const unsigned int width = columns();
    std::string text;
    const bool isResized = m_shown > 0 && (width != m_columns || room != m_rows);
    if (isResized) {
        // The terminal may have broken the old lines anew; nobody knows where they begin.
        text += "\x1b[H\x1b[2J";
    } else if (m_shown > 0) {
        text += fmt::format("\x1b[{}A\r", m_shown);
    }
    m_shown = std::min(lines.size(), room);
    for (std::size_t i = 0; i < m_shown; ++i) {
        text += cutEnd(lines[i], width) + "\x1b[K\n";
    }
    text += "\x1b[J";
    m_columns = width;
    m_rows = static_cast<unsigned int>(room);
    Output out;
    out << text;
    out.finish();
}

} // namespace tracewell
