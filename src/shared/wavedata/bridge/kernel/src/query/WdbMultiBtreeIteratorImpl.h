#pragma once

#include "IEventSource.h"
#include "WdbScalarBTree.h"

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Tracewell {

class IEventTarget;
class WdbIEventReader;

/// The merge behind WdbMultiBtreeIterator. Each tree that takes part has an entry, which waits in a
/// heap for its next change, or is delivered and waits for the step to end.
class WdbMultiBtreeIteratorImpl
{
public:
    using Ranges = std::vector<IEventSource::ListenerRange>;

    WdbMultiBtreeIteratorImpl(IEventSource& source, WdbIEventReader& reader, long long firstTime,
                              long long limit, long long limit2);

    bool hasChanges() const { return !m_heap.empty(); }
    long long getCurrentTime() const { return m_currentTime; }
    void advance();
    void emitEvents(IEventTarget& target);
    void stopEmitting() { m_source = nullptr; }
    void addTrees(const Ranges& ranges);
    void removeTrees(const Ranges& ranges);

private:
    /// Address, then the bit's mask; 255 for a byte.
    using Key = std::pair<unsigned long long, unsigned char>;

    struct Entry
    {
        Key key;
        int bitPosition;
        std::unique_ptr<WdbScalarBTree::Iterator> iterator;
        long long time;
        unsigned char value;
        bool isRemoved;
    };

    /// Whether `a` is due later than `b`.
    struct IsLater
    {
        bool operator()(const Entry* a, const Entry* b) const
        {
            return a->time != b->time ? a->time > b->time : a->key > b->key;
        }
    };

    template <class Action> void forEachTree(const Ranges& ranges, const Action& action);
    static Key makeKey(const WdbScalarBTree& tree);
    static void readCurrent(Entry& entry);
    void addTree(WdbScalarBTree& tree);
    void push(Entry* entry);
    Entry* pop();
    void drop(Entry* entry);
    void dropRemoved();
    void collectStep();
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
    std::vector<Entry*> m_heap;
    /// What emitEvents is about to deliver, in the order of the keys.
    std::vector<Entry*> m_step;
    /// Delivered, to be moved on by advance.
    std::vector<Entry*> m_delivered;
    bool m_isEmitting = false;
};

} // namespace Tracewell
