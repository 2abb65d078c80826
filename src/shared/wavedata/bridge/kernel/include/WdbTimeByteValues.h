// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbByteValue.h"

#include <vector>

namespace Tracewell {

/// The values of several columns at one time, in the order in which the trees were asked.
class TRACEWELL_API WdbTimeByteValues
{
public:
    /// `count` columns, all Blank, at time 0.
    explicit WdbTimeByteValues(unsigned int count);
    WdbTimeByteValues(const WdbTimeByteValues&) = default;
    WdbTimeByteValues(WdbTimeByteValues&&) noexcept = default;
    WdbTimeByteValues& operator=(const WdbTimeByteValues&) = default;
    WdbTimeByteValues& operator=(WdbTimeByteValues&&) noexcept = default;
    ~WdbTimeByteValues() = default;

    long long getTime() const { return m_time; }
    void setTime(long long time) { m_time = time; }
    /// \throws std::out_of_range
    const WdbByteValue& getValueAt(unsigned int column) const { return m_values.at(column); }
    /// `column` must be below the count that the object was made with; it is not checked.
    void setValueAt(unsigned int column, const WdbByteValue& value) { m_values[column] = value; }
    bool hasBlank() const;
    bool hasDenseDraw() const;

private:
    long long m_time = 0;
    std::vector<WdbByteValue> m_values;
};

} // namespace Tracewell
