// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IEventSource.h"
#include "TimeMerge.h"
#include "WdbScalarBTree.h"

#include <array>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Tracewell {

class IEventTarget;
class WdbIEventReader;

/// The merge behind WdbMultiBtreeIterator. Each tree that takes part has an entry, which waits for
/// its next change, or is delivered and waits for the step to end.
class WdbMultiBtreeIteratorImpl
{
public:
    using Ranges = std::vector<IEventSource::ListenerRange>;

    WdbMultiBtreeIteratorImpl(IEventSource& source, WdbIEventReader& reader, long long firstTime,
                              long long limit, long long limit2);

    bool hasChanges() const { return !m_queue.isEmpty(); }
    long long getCurrentTime() const { return m_currentTime; }
    void advance();
    void emitEvents(IEventTarget& target);
    void stopEmitting() { m_source = nullptr; }
    void addTrees(const Ranges& ranges);
    void removeTrees(const Ranges& ranges);

private:
    /// Address, then the bit's mask; 255 for a byte.
    using Key = std::pair<unsigned long long, unsigned char>;

    struct Change
    {
        long long time;
        unsigned char value;
    };

    struct Entry
    {
        bool operator<(const Entry& other) const { return key < other.key; }
        const Change& current() const { return changes[next]; }
        /// Goes to the next change; false when there is none.
        bool advance() { return ++next < count || refill(); }
        bool refill();
        void prefetchAdvance() const;

        Key key;
        int bitPosition;
        /// The place in m_ranking.
        unsigned int rank;
        bool isRemoved;
        bool isWaiting;
        /// Into `changes`, and how many these are.
        unsigned char next;
        unsigned char count;
        std::unique_ptr<WdbScalarBTree::Iterator> iterator;
        /// Taken from the iterator some at a time: thousands of iterators, and the records that
        /// they read, do not stay in the processor's caches between two changes.
        std::array<Change, 16> changes;
    };

    using Queue = TimeMerge<Entry*>;

    template <class Action> void forEachTree(const Ranges& ranges, const Action& action);
    static Key makeKey(const WdbScalarBTree& tree);
    void addTree(WdbScalarBTree& tree);
    void push(Entry* entry);
    void takeNext();
    void take(Entry* entry);
    const Queue::Waiting* getDue();
    void drop(Entry* entry);
    void dropRemoved();
    void collectStep();
    void sortStep();
    void rank();
    void deliver(IEventTarget& target, const Entry& entry);

    /// Null once it is gone, which may be in the middle of emitEvents.
    IEventSource* m_source;
    WdbIEventReader& m_reader;
    long long m_firstTime;
    long long m_limit;
    long long m_limit2;
    long long m_currentTime;
    /// Owns the entries that take part.
    std::map<Key, std::unique_ptr<Entry>> m_active;
    /// Owns removed entries whose key takes part anew, until they come up.
    std::vector<std::unique_ptr<Entry>> m_replaced;
    /// What happened before the first time waits for that.
    Queue m_queue;
    /// How many that wait are not removed.
    std::size_t m_waiting = 0;
    /// What emitEvents is about to deliver, in the order of the keys.
    std::vector<Entry*> m_step;
    /// Delivered, to be moved on by advance.
    std::vector<Entry*> m_delivered;
    bool m_isEmitting = false;

    /// The entries in the order of their keys as of some time; those that came later have no rank.
    std::vector<Entry*> m_ranking;
    /// A bit for each rank, all 0 between two steps.
    std::vector<unsigned long long> m_ranks;
    bool m_isRanked = false;
    /// How much has been sorted since ranks were due.
    std::size_t m_sorted = 0;
};

} // namespace Tracewell
