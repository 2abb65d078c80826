#pragma once

#include "TransitionStore.h"

#include <vector>

namespace Tracewell {

/// The queries of a DataBase; the contracts stand there. Only the forms without Locked, and
/// getTransitions, take the stripe of the id.
class TransitionQueries
{
public:
    explicit TransitionQueries(TransitionStore& store) : m_store(store) {}

    Transition getCurrentTransition(std::uint32_t id, long long time);
    Transition getCurrentTransitionLocked(std::uint32_t id, long long time);
    Transition getNextTransition(std::uint32_t id, long long time);
    Transition getNextTransitionLocked(std::uint32_t id, long long time);
    Transition getPrevTransition(std::uint32_t id, long long time);
    Transition getPrevTransitionLocked(std::uint32_t id, long long time);
    bool getTransInfo(std::uint32_t id, long long& first, long long& last, ValueType& type);
    void getTransitions(std::uint32_t id, long long from, long long to, long long minDelta,
                        std::vector<Transition>& out);
    void traverseAllTransition();

private:
    TransitionStore& m_store;
};

} // namespace Tracewell
