// SPDX-License-Identifier: BSD-3-Clause

#include "WdbByteValue.h"
#include "WdbTimeByteValue.h"
#include "WdbTimeByteValues.h"

#include <algorithm>
#include <type_traits>

namespace Tracewell {

static_assert(sizeof(WdbByteValue) == 8);
static_assert(sizeof(WdbTimeByteValue) == 16 && std::is_trivially_copyable_v<WdbTimeByteValue>);

WdbTimeByteValues::WdbTimeByteValues(unsigned int count) : m_values(count) {}

bool WdbTimeByteValues::hasBlank() const
{
    return std::any_of(m_values.begin(), m_values.end(),
                       [](const WdbByteValue& value) { return value.isBlank(); });
}

bool WdbTimeByteValues::hasDenseDraw() const
{
    return std::any_of(m_values.begin(), m_values.end(),
                       [](const WdbByteValue& value) { return value.isDenseDraw(); });
}

} // namespace Tracewell
