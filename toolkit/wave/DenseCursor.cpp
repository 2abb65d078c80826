// SPDX-License-Identifier: BSD-3-Clause

#include "wave/DenseCursor.h"

#include <utility>

namespace tracewell {

DenseCursor::DenseCursor(std::unique_ptr<SignalCursor> exact, long long from, long long resolution)
    : m_exact(std::move(exact)), m_from(from), m_resolution(resolution),
      m_hasComing(m_exact->next())
{}

bool DenseCursor::next()
{
    while (m_hasComing) {
        m_time = m_exact->time();
        m_state = m_exact->state();
        m_hasComing = m_exact->next();
        const bool goesOn =
            m_time >= m_from && m_hasComing && m_exact->time() - m_time <= m_resolution;
        const bool wasInStretch = std::exchange(m_isInStretch, goesOn);
        if (goesOn && wasInStretch) {
            continue;
        }
        if (goesOn) {
            m_state = {};
            m_state.kind = SignalState::Kind::Dense;
        }
        return true;
    }
    return false;
}

} // namespace tracewell
