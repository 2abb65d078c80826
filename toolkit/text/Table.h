// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace tracewell {

/// Lines of columns, two blanks apart. Widths are fixed before the first line, so that lines can
/// be given out while they are found; a text wider than its column pushes the rest of its line.
class ColumnFormat
{
public:
    enum class Align { Left, Right };

    struct Column
    {
        std::string title;
        Align align = Align::Left;
        /// Characters; at least those of the title are taken.
        std::size_t width = 0;
    };

    explicit ColumnFormat(std::vector<Column> columns);

    std::string titles() const;
    /// One line with its end. `cells` has a valid UTF-8 text for each column.
    std::string line(const std::vector<std::string>& cells) const;

private:
    std::vector<Column> m_columns;
};

/// The lines of a table that is known whole: each column as wide as its widest text.
std::string formatTable(std::vector<ColumnFormat::Column> columns,
                        const std::vector<std::vector<std::string>>& rows);

} // namespace tracewell
