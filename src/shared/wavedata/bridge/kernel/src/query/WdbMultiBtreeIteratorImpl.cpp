#include "WdbMultiBtreeIteratorImpl.h"

#include "IEventTarget.h"
#include "WdbAddressBTreeManager.h"
#include "WdbIEventReader.h"

#include <algorithm>
#include <limits>

namespace Tracewell {

namespace {

constexpr unsigned char kWholeByte = 255;
constexpr unsigned int kBitsOfByte = 8;

} // namespace

WdbMultiBtreeIteratorImpl::WdbMultiBtreeIteratorImpl(IEventSource& source, WdbIEventReader& reader,
                                                     long long firstTime, long long limit,
                                                     long long limit2)
    : m_source(&source), m_reader(reader), m_firstTime(std::max(firstTime, 0LL)), m_limit(limit),
      m_limit2(limit2 < 0 ? limit : limit2), m_currentTime(m_firstTime)
{}

/// Goes through the addresses that have trees, not through those of the range: these may be many.
template <class Action>
void WdbMultiBtreeIteratorImpl::forEachTree(const Ranges& ranges, const Action& action)
{
    WdbAddressBTreeManager& manager = m_reader.getBTreeManager();
    const std::vector<unsigned long long> addresses = manager.getTreeAddresses();
    for (const IEventSource::ListenerRange& range : ranges) {
        for (auto it = std::lower_bound(addresses.begin(), addresses.end(), range.m_start);
             it != addresses.end() && *it - range.m_start < range.m_length; ++it) {
            const long long address = static_cast<long long>(*it);
            if (WdbScalarBTree* const tree = manager.getByteBTree(address)) {
                action(*tree);
                continue;
            }
            for (unsigned int bit = 0; bit < kBitsOfByte; ++bit) {
                if (WdbScalarBTree* const tree = manager.getBitBTree(address, bit))
                    action(*tree);
            }
        }
    }
}

void WdbMultiBtreeIteratorImpl::addTrees(const Ranges& ranges)
{
    forEachTree(ranges, [this](WdbScalarBTree& tree) { addTree(tree); });
}

void WdbMultiBtreeIteratorImpl::removeTrees(const Ranges& ranges)
{
    forEachTree(ranges, [this](WdbScalarBTree& tree) {
        const auto found = m_active.find(makeKey(tree));
        if (found != m_active.end())
            found->second->isRemoved = true;
    });
}

WdbMultiBtreeIteratorImpl::Key WdbMultiBtreeIteratorImpl::makeKey(const WdbScalarBTree& tree)
{
    return {static_cast<unsigned long long>(tree.getAddress()),
            tree.getBitMask() == 0 ? kWholeByte : tree.getBitMask()};
}

void WdbMultiBtreeIteratorImpl::addTree(WdbScalarBTree& tree)
{
    const Key key = makeKey(tree);
    std::unique_ptr<Entry>& slot = m_active[key];
    if (slot && !slot->isRemoved)
        return;
    auto entry = std::make_unique<Entry>();
    entry->key = key;
    entry->bitPosition = tree.getBitPosition();
    entry->iterator.reset(tree.find(m_currentTime, 0, m_limit, m_limit2));
    if (!entry->iterator || !*entry->iterator) {
        if (!slot)
            m_active.erase(key);
        return;
    }
    readCurrent(*entry);
    if (slot)
        m_replaced.push_back(std::move(slot));
    slot = std::move(entry);
    push(slot.get());
}

void WdbMultiBtreeIteratorImpl::readCurrent(Entry& entry)
{
    const WdbTimeByteValue current = **entry.iterator;
    entry.time = current.getTime();
    entry.value = current.getValue();
}

void WdbMultiBtreeIteratorImpl::push(Entry* entry)
{
    m_heap.push_back(entry);
    std::push_heap(m_heap.begin(), m_heap.end(), IsLater());
}

WdbMultiBtreeIteratorImpl::Entry* WdbMultiBtreeIteratorImpl::pop()
{
    std::pop_heap(m_heap.begin(), m_heap.end(), IsLater());
    Entry* const entry = m_heap.back();
    m_heap.pop_back();
    return entry;
}

/// Ends an entry that is in no other list any more.
void WdbMultiBtreeIteratorImpl::drop(Entry* entry)
{
    const auto found = m_active.find(entry->key);
    if (found != m_active.end() && found->second.get() == entry) {
        m_active.erase(found);
        return;
    }
    m_replaced.erase(std::remove_if(m_replaced.begin(), m_replaced.end(),
                                    [entry](const auto& old) { return old.get() == entry; }),
                     m_replaced.end());
}

void WdbMultiBtreeIteratorImpl::dropRemoved()
{
    while (!m_heap.empty() && m_heap.front()->isRemoved)
        drop(pop());
}

// The first step takes in everything up to the first time, a later one exactly one time.
void WdbMultiBtreeIteratorImpl::collectStep()
{
    m_step.clear();
    for (;;) {
        dropRemoved();
        if (m_heap.empty())
            break;
        const long long time = m_heap.front()->time;
        if (!m_step.empty() && time != m_currentTime && time > m_firstTime)
            break;
        m_step.push_back(pop());
        m_currentTime = std::max(m_currentTime, time);
    }
    std::sort(m_step.begin(), m_step.end(),
              [](const Entry* a, const Entry* b) { return a->key < b->key; });
}

void WdbMultiBtreeIteratorImpl::emitEvents(IEventTarget& target)
{
    // A target that comes back here gets nothing: its step is under way.
    if (m_isEmitting)
        return;
    m_isEmitting = true;
    struct EndOfEmitting
    {
        bool& isEmitting;
        ~EndOfEmitting() { isEmitting = false; }
    } const end{m_isEmitting};

    while (!m_heap.empty()) {
        collectStep();
        if (m_step.empty())
            return;
        m_delivered.insert(m_delivered.end(), m_step.begin(), m_step.end());
        for (const Entry* const entry : m_step) {
            if (!m_source)
                return;
            deliver(target, *entry);
        }
        if (!m_source)
            return;
        dropRemoved();
        if (m_heap.empty() || m_heap.front()->time > m_currentTime)
            return;
    }
}

void WdbMultiBtreeIteratorImpl::deliver(IEventTarget& target, const Entry& entry)
{
    const unsigned int value = entry.value;
    target.valueChanged(
        m_source, entry.time, entry.key.first,
        static_cast<unsigned char>(entry.bitPosition < 0 ? value : value << entry.bitPosition),
        entry.key.second);
}

void WdbMultiBtreeIteratorImpl::advance()
{
    if (m_isEmitting)
        return;
    for (Entry* const entry : m_delivered) {
        if (++*entry->iterator) {
            readCurrent(*entry);
            push(entry);
        } else {
            drop(entry);
        }
    }
    m_delivered.clear();
    dropRemoved();
}

} // namespace Tracewell
