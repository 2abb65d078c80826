// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbDamageLog.h"

#include <algorithm>
#include <limits>

namespace tracewell {

/// Up to when that is whole what was read of a transition database so far. Costs nothing while
/// nothing is damaged, so it can be asked at each step.
class DamageEnd
{
public:
    explicit DamageEnd(const Tracewell::WdbDamageLog& log) : m_log(&log) {}

    /// Below 0 when nothing is.
    long long get() const
    {
        if (const unsigned long long count = m_log->getCount(); count != m_seen) {
            m_seen = count;
            for (const Tracewell::WdbDamage& place : m_log->getPlaces()) {
                m_end = std::min(m_end, place.m_hasTime ? std::max(place.m_time, 0LL) - 1 : -1);
            }
        }
        return m_end;
    }

private:
    const Tracewell::WdbDamageLog* m_log;
    mutable unsigned long long m_seen = 0;
    mutable long long m_end = std::numeric_limits<long long>::max();
};

} // namespace tracewell
