// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbByteValue.h"

namespace Tracewell {

/// A byte value with the simulation time at which it holds from.
class TRACEWELL_API WdbTimeByteValue
{
public:
    long long getTime() const { return m_time; }
    void setTime(long long time) { m_time = time; }
    const unsigned char& getValue() const { return m_value.getValue(); }
    void setValue(char value) { m_value.setValue(value); }
    const WdbByteValue& getByteValue() const { return m_value; }
    WdbByteValue::ValueType getValueType() const { return m_value.getValueType(); }
    bool isDenseDraw() const { return m_value.isDenseDraw(); }
    void setDenseDraw() { m_value.setDenseDraw(); }

private:
    long long m_time = 0;
    WdbByteValue m_value;
};

} // namespace Tracewell
