// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IEventSource.h"
#include "TracewellExport.h"

#include <memory>
#include <vector>

namespace Tracewell {

class IEventTarget;
class WdbIEventReader;
class WdbMultiBtreeIteratorImpl;

/// Replays the value changes of many trees together in the order of their times:
///
///     for (WdbMultiBtreeIterator it(reader, ranges, 0, from, latest, to); it; ++it)
///         it.emitEvents(target);
///
/// Takes the trees that the reader has for the addresses of the ranges, the byte tree of an address
/// before its bit trees. A tree that is deleted or made anew meanwhile must not be replayed any
/// more. Takes no lock: beside a live reader thread the caller holds the reader's mutex.
class TRACEWELL_API WdbMultiBtreeIterator : public IEventSource
{
public:
    /// The first step gives the state at `firstTime`, or at 0 if that is negative; `limit` is where
    /// the run stands, and nothing behind `limit2` comes if that is above 0. A negative `limit2` is
    /// taken as `limit`. The third argument has no meaning.
    WdbMultiBtreeIterator(WdbIEventReader& reader, const std::vector<ListenerRange>& ranges,
                          long long ignored, long long firstTime, long long limit,
                          long long limit2);
    WdbMultiBtreeIterator(const WdbMultiBtreeIterator&) = delete;
    WdbMultiBtreeIterator& operator=(const WdbMultiBtreeIterator&) = delete;
    ~WdbMultiBtreeIterator() override;

    /// Whether there is a change that has not been delivered.
    operator bool() const;
    /// Goes behind the time step that emitEvents delivered last.
    WdbMultiBtreeIterator& operator++();
    /// Of the last step; the first time before that.
    long long getCurrentTime() const;
    /// Delivers the changes of one time, in ascending order of address and mask; the first step all
    /// that happened up to the first time, the last change of each tree. The target may register
    /// and unregister here.
    void emitEvents(IEventTarget& target);
    /// The trees of these ranges join from the current time on. The target is not kept: emitEvents
    /// names the one that it delivers to.
    void registerListener(IEventTarget* target, const std::vector<ListenerRange>& ranges) override;
    /// The trees of these ranges leave, behind the present step.
    void unregisterListener(IEventTarget* target,
                            const std::vector<ListenerRange>& ranges) override;

private:
    std::shared_ptr<WdbMultiBtreeIteratorImpl> m_imp;
};

} // namespace Tracewell
