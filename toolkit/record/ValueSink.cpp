// SPDX-License-Identifier: BSD-3-Clause

#include "record/ValueSink.h"

#include <utility>

namespace tracewell {

void ValueSink::refuse(const std::string& what)
{
    if (!what.empty()) {
        m_refusal += m_refusal.empty() ? what : "; " + what;
    }
}

std::string ValueSink::takeRefusal()
{
    return std::exchange(m_refusal, {});
}

} // namespace tracewell
