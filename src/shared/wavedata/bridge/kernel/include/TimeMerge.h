// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tracewell {

/// Merges by time: items wait for their times, and the earliest comes first. Made for sources of
/// which each comes back with a later time when it has been taken. `Item` is small and trivially
/// copyable (a pointer, an index). One thread at a time.
///
/// A few items wait in a heap, in which those of one time come in the order of `Before`. Many wait
/// in a radix calendar, where taking one and putting it back costs a few moves in memory, whatever
/// their number, and items of one time come in no order; the heap then holds what was put in behind
/// the present time.
template <class Item, class Before = std::less<Item>> class TimeMerge
{
    static constexpr std::uint64_t kSign = std::uint64_t{1} << 63;

public:
    struct Waiting
    {
        long long getTime() const { return static_cast<long long>(key ^ kSign); }

        /// In the order of the times.
        std::uint64_t key;
        Item item;
    };

    bool isEmpty() const { return m_size == 0; }
    std::size_t size() const { return m_size; }

    void push(long long time, Item item)
    {
        const Waiting waiting = {toKey(time), item};
        ++m_size;
        if (m_calendar && waiting.key >= m_calendar->now) {
            m_calendar->put(waiting);
            return;
        }
        m_heap.push_back(waiting);
        std::push_heap(m_heap.begin(), m_heap.end(), IsLater());
        if (!m_calendar && m_heap.size() > kFew) {
            makeCalendar();
        }
    }

    /// What pop takes next, if that waits for `time` or an earlier time and pop need not leave the
    /// present for it; otherwise null.
    const Waiting* getDue(long long time) const
    {
        const std::uint64_t key = toKey(time);
        if (!m_heap.empty()) {
            return m_heap.front().key <= key ? &m_heap.front() : nullptr;
        }
        return m_calendar && m_calendar->now <= key ? m_calendar->getPresent() : nullptr;
    }

    /// The time of what pop takes next, which becomes the present. Not from an empty merge.
    long long getFirstTime()
    {
        if (!m_heap.empty()) {
            return m_heap.front().getTime();
        }
        m_calendar->goToFirst();
        return Waiting{m_calendar->now, Item()}.getTime();
    }

    /// Takes the earliest item, and makes its time the present unless that is later. Not from an
    /// empty merge.
    Waiting pop()
    {
        --m_size;
        if (m_heap.empty()) {
            return m_calendar->pop();
        }
        const Waiting waiting = m_heap.front();
        std::pop_heap(m_heap.begin(), m_heap.end(), IsLater());
        m_heap.pop_back();
        return waiting;
    }

    /// Calls `step(item, time)` for each item that waits for `time` or an earlier time, in the
    /// order of time. It gives the time for which the item waits from then on, or kEnd when it is
    /// done; neither it nor the answer may be earlier than the item's time was.
    template <class Step> void advance(long long time, const Step& step)
    {
        const std::uint64_t key = toKey(time);
        while (!m_calendar && !m_heap.empty() && m_heap.front().key <= key) {
            const long long next = step(m_heap.front().item, m_heap.front().getTime());
            if (next == kEnd) {
                pop();
            } else {
                m_heap.front().key = toKey(next);
                siftDown();
            }
        }
        while (m_calendar && m_size > 0 && toKey(getFirstTime()) <= key) {
            const Waiting first = pop();
            const long long next = step(first.item, first.getTime());
            if (next != kEnd) {
                push(next, first.item);
            }
        }
    }

    /// Calls `take(item)` for everything that waits for the present time; items of many in no
    /// order. Not while getDue() gives nothing for that time.
    template <class Take> void takePresent(const Take& take)
    {
        if (m_heap.empty()) {
            m_size -= m_calendar->takePresent(take);
            return;
        }
        const long long present = m_heap.front().getTime();
        while (!m_heap.empty() && m_heap.front().getTime() == present) {
            take(pop().item);
        }
    }

    /// Takes all items, in no order.
    std::vector<Item> takeAll()
    {
        std::vector<Item> items;
        items.reserve(m_size);
        for (const Waiting& waiting : m_heap) {
            items.push_back(waiting.item);
        }
        m_heap.clear();
        if (m_calendar) {
            m_calendar->takeAll(items);
        }
        m_size = 0;
        return items;
    }

    /// The answer of a step that has no next time. Nothing waits for it.
    static constexpr long long kEnd = std::numeric_limits<long long>::min();

private:
    /// So many fit a few lines of the processor's cache; a calendar takes 49 kB.
    static constexpr std::size_t kFew = 64;

    struct IsLater
    {
        bool operator()(const Waiting& a, const Waiting& b) const
        {
            return a.key != b.key ? a.key > b.key : Before()(b.item, a.item);
        }
    };

    /// A place holds the times that share the bytes of the present time down to some level, and
    /// differ from it in that level's byte, which is the place's number. When the levels below have
    /// run empty, the first place of a level is spread over them.
    struct Calendar
    {
        static constexpr unsigned int kLevels = 8;
        static constexpr unsigned int kPlaces = 256;

        static unsigned int byteOf(std::uint64_t key, unsigned int level)
        {
            return static_cast<unsigned int>(key >> 8 * level & 255);
        }

        bool isUsed(unsigned int level, unsigned int place) const
        {
            return (used[level][place / 64] >> place % 64 & 1) != 0;
        }
        void setUsed(unsigned int level, unsigned int place, bool isUsed)
        {
            const std::uint64_t bit = std::uint64_t{1} << place % 64;
            std::uint64_t& word = used[level][place / 64];
            word = isUsed ? word | bit : word & ~bit;
        }

        const Waiting* getPresent() const
        {
            const unsigned int place = byteOf(now, 0);
            return isUsed(0, place) ? &places[0][place].back() : nullptr;
        }

        void put(const Waiting& waiting)
        {
            const std::uint64_t difference = waiting.key ^ now;
            const unsigned int level =
                difference == 0 ? 0
                                : (63 - static_cast<unsigned int>(__builtin_clzll(difference))) / 8;
            const unsigned int place = byteOf(waiting.key, level);
            places[level][place].push_back(waiting);
            setUsed(level, place, true);
        }

        Waiting pop()
        {
            goToFirst();
            const unsigned int place = byteOf(now, 0);
            std::vector<Waiting>& present = places[0][place];
            const Waiting waiting = present.back();
            present.pop_back();
            if (present.empty()) {
                setUsed(0, place, false);
            }
            return waiting;
        }

        template <class Take> std::size_t takePresent(const Take& take)
        {
            const unsigned int place = byteOf(now, 0);
            std::vector<Waiting>& present = places[0][place];
            constexpr std::size_t kAhead = 6;
            for (std::size_t i = 0; i < present.size(); ++i) {
                // Among thousands, an item is in no cache of the processor's when its time comes.
                if constexpr (std::is_pointer_v<Item>) {
                    if (i + kAhead < present.size()) {
                        __builtin_prefetch(present[i + kAhead].item);
                    }
                }
                take(present[i].item);
            }
            const std::size_t taken = present.size();
            present.clear();
            setUsed(0, place, false);
            return taken;
        }

        void takeAll(std::vector<Item>& items)
        {
            for (auto& level : places) {
                for (std::vector<Waiting>& place : level) {
                    for (const Waiting& waiting : place) {
                        items.push_back(waiting.item);
                    }
                    place.clear();
                }
            }
            used = {};
        }

        /// Makes the earliest time the present. What waits for it is then in its place on level 0.
        void goToFirst()
        {
            for (unsigned int level = 0;; ++level) {
                for (unsigned int word = 0; word < kPlaces / 64; ++word) {
                    if (used[level][word] == 0) {
                        continue;
                    }
                    const unsigned int place =
                        64 * word + static_cast<unsigned int>(__builtin_ctzll(used[level][word]));
                    if (level == 0) {
                        now = (now & ~std::uint64_t{255}) | place;
                        return;
                    }
                    spread(level, place);
                    return;
                }
            }
        }

        void spread(unsigned int level, unsigned int place)
        {
            inSpread.swap(places[level][place]);
            setUsed(level, place, false);
            now = std::min_element(inSpread.begin(), inSpread.end(),
                                   [](const Waiting& a, const Waiting& b) { return a.key < b.key; })
                      ->key;
            for (const Waiting& waiting : inSpread) {
                put(waiting);
            }
            inSpread.clear();
        }

        /// The key of the present time.
        std::uint64_t now = 0;
        std::array<std::array<std::vector<Waiting>, kPlaces>, kLevels> places;
        /// A bit for each place that holds something.
        std::array<std::array<std::uint64_t, kPlaces / 64>, kLevels> used{};
        std::vector<Waiting> inSpread;
    };

    static std::uint64_t toKey(long long time) { return static_cast<std::uint64_t>(time) ^ kSign; }

    void makeCalendar()
    {
        m_calendar = std::make_unique<Calendar>();
        m_calendar->now = m_heap.front().key;
        for (const Waiting& waiting : m_heap) {
            m_calendar->put(waiting);
        }
        m_heap.clear();
    }

    /// The heap's first has got a later time.
    void siftDown()
    {
        const std::size_t size = m_heap.size();
        const Waiting moved = m_heap.front();
        std::size_t hole = 0;
        for (std::size_t child = 1; child < size; child = 2 * hole + 1) {
            if (child + 1 < size && IsLater()(m_heap[child], m_heap[child + 1])) {
                ++child;
            }
            if (!IsLater()(moved, m_heap[child])) {
                break;
            }
            m_heap[hole] = m_heap[child];
            hole = child;
        }
        m_heap[hole] = moved;
    }

    std::size_t m_size = 0;
    std::vector<Waiting> m_heap;
    /// Null while there are few.
    std::unique_ptr<Calendar> m_calendar;
};

} // namespace Tracewell
