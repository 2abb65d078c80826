#include "TransitionLog.h"

namespace Tracewell {

void TransitionLog::enter(std::uint32_t, long long, const Value&) {}

void TransitionLog::clear()
{
    m_text.clear();
}

void TransitionLog::write(const std::string&) const {}

} // namespace Tracewell
