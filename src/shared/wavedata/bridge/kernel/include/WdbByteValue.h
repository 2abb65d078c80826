// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// One byte of a query's answer, with what is known about it.
class TRACEWELL_API WdbByteValue
{
public:
    enum ValueType : int {
        Blank = 0,    ///< no value known at this point
        Value = 1,    ///< the byte holds a value
        DenseDraw = 2 ///< more changes than the resolution can show; the byte means nothing
    };

    const unsigned char& getValue() const { return m_value; }
    void setValue(char value)
    {
        m_type = Value;
        m_value = static_cast<unsigned char>(value);
    }
    /// Leaves the byte as it is.
    void setDenseDraw() { m_type = DenseDraw; }
    bool isBlank() const { return m_type == Blank; }
    bool isDenseDraw() const { return m_type == DenseDraw; }
    ValueType getValueType() const { return m_type; }

    /// Bytes count only between two of type Value.
    bool operator==(const WdbByteValue& other) const
    {
        return m_type == other.m_type && (m_type != Value || m_value == other.m_value);
    }
    bool operator!=(const WdbByteValue& other) const { return !(*this == other); }

private:
    ValueType m_type = Blank;
    unsigned char m_value = 0;
};

} // namespace Tracewell
