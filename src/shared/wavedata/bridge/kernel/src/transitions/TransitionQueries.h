// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TransitionStore.h"

#include <vector>

namespace Tracewell {

class DrawingFilter;

/// The queries of a DataBase; the contracts stand there. The Locked forms expect the stripe of the
/// id to be held, the other operations of the public part take it.
///
/// A transition lies in a leaf of the object's tree or, if it is later than the tree, in the
/// object's open buffer. A new buffer begins with the initial value at time 0 again, and then
/// answers for times up to its next transition, too.
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
    bool getHistory(std::uint32_t id, long long from, long long to, std::size_t most,
                    std::vector<Transition>& out);
    void traverseAllTransition();

private:
    bool getTransInfoLocked(std::uint32_t id, long long& first, long long& last, ValueType& type);
    /// `latest` is the latest time of the store when the query came.
    void getTransitionsLocked(std::uint32_t id, long long from, long long to, long long minDelta,
                              long long latest, std::vector<Transition>& out);

    // The open buffer alone. An empty one answers with the initial value, unless `noInitial`.
    Transition getCurrentTransFromTempBuf(std::uint32_t id, long long time, bool noInitial);
    Transition getNextTransFromTempBuf(std::uint32_t id, long long time);
    Transition getPrevTransFromTempBuf(std::uint32_t id, long long time, bool noInitial);
    void getTransFromTempBuf(std::uint32_t id, DrawingFilter& filter);
    Transition getInitialTransition(std::uint32_t id, long long time, bool noInitial);
    template <typename Visit> bool visitBuffer(std::uint32_t id, Visit visit);

    TransitionStore& m_store;
};

} // namespace Tracewell
