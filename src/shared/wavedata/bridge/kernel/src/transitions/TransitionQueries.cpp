#include "TransitionQueries.h"

#include <boost/thread/lock_guard.hpp>

namespace Tracewell {

Transition TransitionQueries::getCurrentTransition(std::uint32_t id, long long time)
{
    const boost::lock_guard<boost::mutex> lock(m_store.stripe(id));
    return getCurrentTransitionLocked(id, time);
}

Transition TransitionQueries::getNextTransition(std::uint32_t id, long long time)
{
    const boost::lock_guard<boost::mutex> lock(m_store.stripe(id));
    return getNextTransitionLocked(id, time);
}

Transition TransitionQueries::getPrevTransition(std::uint32_t id, long long time)
{
    const boost::lock_guard<boost::mutex> lock(m_store.stripe(id));
    return getPrevTransitionLocked(id, time);
}

Transition TransitionQueries::getCurrentTransitionLocked(std::uint32_t, long long)
{
    return {};
}

Transition TransitionQueries::getNextTransitionLocked(std::uint32_t, long long)
{
    return {};
}

Transition TransitionQueries::getPrevTransitionLocked(std::uint32_t, long long)
{
    return {};
}

bool TransitionQueries::getTransInfo(std::uint32_t, long long&, long long&, ValueType&)
{
    return false;
}

void TransitionQueries::getTransitions(std::uint32_t, long long, long long, long long,
                                       std::vector<Transition>&)
{}

void TransitionQueries::traverseAllTransition() {}

} // namespace Tracewell
