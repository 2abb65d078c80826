// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tracewell {

/// Shows some lines at the bottom of what a terminal has shown so far, again and again in the same
/// place. Leaves the terminal as any other program would, at any moment.
class LiveScreen
{
public:
    /// Lines that there is room for.
    static std::size_t rows();
    static unsigned int columns();

    /// Lines that are too long or too many are cut.
    void show(const std::vector<std::string>& lines);
    /// What was shown last stays; others may print below it now.
    void leave() { m_shown = 0; }

private:
    std::size_t m_shown = 0;
    unsigned int m_columns = 0;
    unsigned int m_rows = 0;
};

} // namespace tracewell
