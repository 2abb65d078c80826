// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMultiBtreeIteratorImpl.h"

#include "IEventTarget.h"
#include "WdbAddressBTreeManager.h"
#include "WdbIEventReader.h"

#include <algorithm>
#include <utility>

namespace Tracewell {

namespace {

constexpr unsigned char kWholeByte = 255;
constexpr unsigned int kBitsOfByte = 8;
constexpr std::size_t kBitsOfWord = 64;

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
                if (WdbScalarBTree* const tree = manager.getBitBTree(address, bit)) {
                    action(*tree);
                }
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
        if (found == m_active.end() || found->second->isRemoved) {
            return;
        }
        found->second->isRemoved = true;
        if (found->second->isWaiting) {
            --m_waiting;
        }
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
    if (slot && !slot->isRemoved) {
        return;
    }
    auto entry = std::make_unique<Entry>();
    entry->key = key;
    entry->bitPosition = tree.getBitPosition();
    entry->iterator.reset(tree.find(m_currentTime, 0, m_limit, m_limit2));
    if (!entry->iterator || !entry->refill()) {
        if (!slot) {
            m_active.erase(key);
        }
        return;
    }
    if (slot) {
        m_replaced.push_back(std::move(slot));
    }
    slot = std::move(entry);
    push(slot.get());
    m_isRanked = false;
}

bool WdbMultiBtreeIteratorImpl::Entry::refill()
{
    next = 0;
    count = 0;
    for (WdbScalarBTree::Iterator& it = *iterator; count < changes.size() && it; ++it) {
        const WdbTimeByteValue change = *it;
        changes[count++] = {change.getTime(), change.getValue()};
    }
    return count > 0;
}

/// Lets the processor load what advance needs.
void WdbMultiBtreeIteratorImpl::Entry::prefetchAdvance() const
{
    constexpr std::size_t kLine = 64;
    if (next + 1 < count) {
        __builtin_prefetch(&changes[next + 1u]);
        return;
    }
    for (std::size_t offset = 0; offset < sizeof *iterator; offset += kLine) {
        __builtin_prefetch(reinterpret_cast<const char*>(iterator.get()) + offset);
    }
}

void WdbMultiBtreeIteratorImpl::push(Entry* entry)
{
    m_queue.push(std::max(entry->current().time, m_firstTime), entry);
    entry->isWaiting = true;
    if (!entry->isRemoved) {
        ++m_waiting;
    }
}

void WdbMultiBtreeIteratorImpl::takeNext()
{
    const Queue::Waiting next = m_queue.pop();
    if (!next.item->isRemoved) {
        m_currentTime = std::max(m_currentTime, next.getTime());
    }
    take(next.item);
}

/// From the queue into the step, unless it is removed.
void WdbMultiBtreeIteratorImpl::take(Entry* entry)
{
    entry->isWaiting = false;
    if (entry->isRemoved) {
        drop(entry);
        return;
    }
    --m_waiting;
    m_step.push_back(entry);
}

/// What takeNext takes next, if its time has come.
const WdbMultiBtreeIteratorImpl::Queue::Waiting* WdbMultiBtreeIteratorImpl::getDue()
{
    const Queue::Waiting* next = nullptr;
    while ((next = m_queue.getDue(m_currentTime)) && next->item->isRemoved) {
        takeNext();
    }
    return next;
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

/// Those that nothing waits with; the others go when their times come.
void WdbMultiBtreeIteratorImpl::dropRemoved()
{
    if (m_waiting != 0 || m_queue.isEmpty()) {
        return;
    }
    for (Entry* const entry : m_queue.takeAll()) {
        drop(entry);
    }
}

// The first step takes in everything up to the first time, a later one exactly one time.
void WdbMultiBtreeIteratorImpl::collectStep()
{
    m_step.clear();
    dropRemoved();
    while (m_step.empty() && m_waiting != 0) {
        takeNext();
    }
    while (const Queue::Waiting* const next = getDue()) {
        if (next->getTime() != m_currentTime && next->getTime() > m_firstTime) {
            break;
        }
        m_queue.takePresent([this](Entry* entry) { take(entry); });
    }
    sortStep();
    m_delivered.insert(m_delivered.end(), m_step.begin(), m_step.end());
}

// Sorting costs more than all else does. A step with a good part of all entries is sorted by
// setting its bits among the ranks; these are made when as much has been sorted without them.
void WdbMultiBtreeIteratorImpl::sortStep()
{
    if (m_step.size() < 2) {
        return;
    }
    constexpr std::size_t kWordsAnEntry = 4;
    if (!m_isRanked || m_ranks.size() > kWordsAnEntry * m_step.size()) {
        std::sort(m_step.begin(), m_step.end(),
                  [](const Entry* a, const Entry* b) { return *a < *b; });
        m_sorted += m_step.size();
        if (!m_isRanked && m_sorted >= m_active.size()) {
            rank();
        }
        return;
    }
    for (const Entry* const entry : m_step) {
        m_ranks[entry->rank / kBitsOfWord] |= 1ull << entry->rank % kBitsOfWord;
    }
    m_step.clear();
    for (std::size_t word = 0; word < m_ranks.size(); ++word) {
        for (unsigned long long bits = std::exchange(m_ranks[word], 0); bits != 0;
             bits &= bits - 1) {
            const auto bit = static_cast<unsigned int>(__builtin_ctzll(bits));
            m_step.push_back(m_ranking[word * kBitsOfWord + bit]);
        }
    }
}

void WdbMultiBtreeIteratorImpl::rank()
{
    m_ranking.clear();
    for (const auto& [key, entry] : m_active) {
        entry->rank = static_cast<unsigned int>(m_ranking.size());
        m_ranking.push_back(entry.get());
    }
    m_ranks.assign(m_ranking.size() / kBitsOfWord + 1, 0);
    m_isRanked = true;
    m_sorted = 0;
}

void WdbMultiBtreeIteratorImpl::emitEvents(IEventTarget& target)
{
    // A target that comes back here gets nothing: its step is under way.
    if (m_isEmitting) {
        return;
    }
    m_isEmitting = true;
    struct EndOfEmitting
    {
        bool& isEmitting;
        ~EndOfEmitting() { isEmitting = false; }
    } const end{m_isEmitting};

    while (!m_queue.isEmpty()) {
        collectStep();
        if (m_step.empty()) {
            return;
        }
        for (const Entry* const entry : m_step) {
            if (!m_source) {
                return;
            }
            deliver(target, *entry);
        }
        if (!m_source) {
            return;
        }
        dropRemoved();
        if (!getDue()) {
            return;
        }
    }
}

void WdbMultiBtreeIteratorImpl::deliver(IEventTarget& target, const Entry& entry)
{
    const unsigned int value = entry.current().value;
    target.valueChanged(
        m_source, entry.current().time, entry.key.first,
        static_cast<unsigned char>(entry.bitPosition < 0 ? value : value << entry.bitPosition),
        entry.key.second);
}

void WdbMultiBtreeIteratorImpl::advance()
{
    if (m_isEmitting) {
        return;
    }
    constexpr std::size_t kAhead = 8;
    for (std::size_t i = 0; i < m_delivered.size(); ++i) {
        if (i + kAhead < m_delivered.size()) {
            m_delivered[i + kAhead]->prefetchAdvance();
        }
        Entry* const entry = m_delivered[i];
        if (entry->advance()) {
            push(entry);
        } else {
            drop(entry);
        }
    }
    m_delivered.clear();
    dropRemoved();
}

} // namespace Tracewell
