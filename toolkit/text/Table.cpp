// SPDX-License-Identifier: BSD-3-Clause

#include "text/Table.h"

#include "text/Utf8.h"

#include <algorithm>
#include <utility>

namespace tracewell {

ColumnFormat::ColumnFormat(std::vector<Column> columns) : m_columns(std::move(columns))
{
    for (Column& column : m_columns) {
        column.width = std::max(column.width, characterCount(column.title));
    }
}

std::string ColumnFormat::titles() const
{
    std::vector<std::string> cells;
    for (const Column& column : m_columns) {
        cells.push_back(column.title);
    }
    return line(cells);
}

std::string ColumnFormat::line(const std::vector<std::string>& cells) const
{
    std::string text;
    std::size_t blanks = 0;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const std::size_t used = characterCount(cells[i]);
        const std::size_t fill = m_columns[i].width > used ? m_columns[i].width - used : 0;
        const bool right = m_columns[i].align == Align::Right;
        // Blanks wait until something follows them, so no line ends in one.
        blanks += right ? fill : 0;
        if (!cells[i].empty()) {
            text.append(blanks, ' ');
            text += cells[i];
            blanks = 0;
        }
        blanks += (right ? 0 : fill) + 2;
    }
    return text + "\n";
}

std::string formatTable(std::vector<ColumnFormat::Column> columns,
                        const std::vector<std::vector<std::string>>& rows)
{
    for (const std::vector<std::string>& row : rows) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            columns[i].width = std::max(columns[i].width, characterCount(row[i]));
        }
    }
    const ColumnFormat format(std::move(columns));
    std::string text = format.titles();
    for (const std::vector<std::string>& row : rows) {
        text += format.line(row);
    }
    return text;
}

} // namespace tracewell
