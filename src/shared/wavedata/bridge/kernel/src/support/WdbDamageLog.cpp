// SPDX-License-Identifier: BSD-3-Clause

#include "WdbDamageLog.h"

#include <algorithm>

namespace Tracewell {

WdbDamageLog::WdbDamageLog() = default;
WdbDamageLog::~WdbDamageLog() = default;

void WdbDamageLog::note(const WdbDamage& damage)
{
    const MutexLock lock(m_mutex);
    if (damage.m_isOnlyWhenClosed && m_isNeverClosed) {
        return;
    }
    const auto isSame = [&](const WdbDamage& known) {
        return known.m_kind == damage.m_kind && known.m_offset == damage.m_offset &&
               known.m_owner == damage.m_owner;
    };
    auto known = std::find_if(m_places.begin(), m_places.end(), isSame);
    if (known == m_places.end() && m_places.size() < kMostPlaces) {
        m_places.push_back(damage);
    } else {
        // One that is not kept counts all the same for the time up to which all is whole.
        known -= known == m_places.end() ? 1 : 0;
        known->m_hasTime = known->m_hasTime && damage.m_hasTime;
        known->m_time = std::min(known->m_time, damage.m_time);
    }
    m_count.fetch_add(1, std::memory_order_release);
}

void WdbDamageLog::setNeverClosed()
{
    const MutexLock lock(m_mutex);
    m_isNeverClosed = true;
    const auto isRefuted = [](const WdbDamage& damage) { return damage.m_isOnlyWhenClosed; };
    m_places.erase(std::remove_if(m_places.begin(), m_places.end(), isRefuted), m_places.end());
    if (m_places.empty()) {
        m_count.store(0, std::memory_order_release);
    }
}

std::vector<WdbDamage> WdbDamageLog::getPlaces() const
{
    const MutexLock lock(m_mutex);
    return m_places;
}

void WdbDamageLog::clear()
{
    const MutexLock lock(m_mutex);
    m_places.clear();
    m_isNeverClosed = false;
    m_count.store(0, std::memory_order_release);
}

} // namespace Tracewell
