#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace Tracewell {

/// Items that wait for their times; the earliest comes first. Made for many items of which each
/// comes back with a later time when it has been taken: that costs a few moves in memory, whatever
/// the number of items.
///
/// A place holds the times that share the bytes of the present time down to some level, and differ
/// from it in that level's byte, which is the place's number. When the levels below have run
/// empty, the first place of a level is spread over them. What is put in behind the present waits
/// in a heap, in which items of one time come in their own order.
template <class Element> class TimeQueue
{
    using Item = Element*;

    static constexpr std::uint64_t kSign = std::uint64_t{1} << 63;

public:
    struct Waiting
    {
        long long getTime() const { return static_cast<long long>(key ^ kSign); }

        /// In the order of the times.
        std::uint64_t key;
        Item item;
    };

    explicit TimeQueue(long long now) : m_now(toKey(now)) {}

    bool isEmpty() const { return m_size == 0; }
    std::size_t size() const { return m_size; }

    void push(long long time, Item item)
    {
        const Waiting waiting = {toKey(time), item};
        ++m_size;
        if (waiting.key >= m_now) {
            put(waiting);
            return;
        }
        m_late.push_back(waiting);
        std::push_heap(m_late.begin(), m_late.end(), IsLater());
    }

    /// What pop takes next, if that waits for `time` or an earlier time and pop need not leave the
    /// present for it; otherwise null.
    const Waiting* getDue(long long time) const
    {
        const std::uint64_t key = toKey(time);
        if (!m_late.empty())
            return m_late.front().key <= key ? &m_late.front() : nullptr;
        const unsigned int place = byteOf(m_now, 0);
        return m_now <= key && isUsed(0, place) ? &m_places[0][place].back() : nullptr;
    }

    /// Whether something waits behind the present.
    bool hasLate() const { return !m_late.empty(); }

    /// Takes the earliest item, and makes its time the present unless that is later. Not from an
    /// empty queue.
    Waiting pop()
    {
        --m_size;
        if (!m_late.empty()) {
            std::pop_heap(m_late.begin(), m_late.end(), IsLater());
            const Waiting waiting = m_late.back();
            m_late.pop_back();
            return waiting;
        }
        goToFirst();
        const unsigned int place = byteOf(m_now, 0);
        std::vector<Waiting>& present = m_places[0][place];
        const Waiting waiting = present.back();
        present.pop_back();
        if (present.empty())
            setUsed(0, place, false);
        return waiting;
    }

    /// Calls `take(item)` for everything that waits for the present time, in no order. Not while
    /// something waits behind it.
    template <class Take> void takePresent(const Take& take)
    {
        const unsigned int place = byteOf(m_now, 0);
        std::vector<Waiting>& present = m_places[0][place];
        m_size -= present.size();
        constexpr std::size_t kAhead = 6;
        for (std::size_t i = 0; i < present.size(); ++i) {
            // Among thousands, an item is in no cache of the processor's when its time comes.
            if (i + kAhead < present.size())
                __builtin_prefetch(present[i + kAhead].item);
            take(present[i].item);
        }
        present.clear();
        setUsed(0, place, false);
    }

    /// Takes all items, in no order.
    std::vector<Item> takeAll()
    {
        std::vector<Item> items;
        const auto take = [&items](std::vector<Waiting>& place) {
            for (const Waiting& waiting : place)
                items.push_back(waiting.item);
            place.clear();
        };
        take(m_late);
        for (auto& level : m_places)
            std::for_each(level.begin(), level.end(), take);
        m_used = {};
        m_size = 0;
        return items;
    }

private:
    static constexpr unsigned int kLevels = 8;
    static constexpr unsigned int kPlaces = 256;
    struct IsLater
    {
        bool operator()(const Waiting& a, const Waiting& b) const
        {
            return a.key != b.key ? a.key > b.key : *b.item < *a.item;
        }
    };

    static std::uint64_t toKey(long long time) { return static_cast<std::uint64_t>(time) ^ kSign; }
    static unsigned int byteOf(std::uint64_t key, unsigned int level)
    {
        return static_cast<unsigned int>(key >> 8 * level & 255);
    }

    bool isUsed(unsigned int level, unsigned int place) const
    {
        return (m_used[level][place / 64] >> place % 64 & 1) != 0;
    }
    void setUsed(unsigned int level, unsigned int place, bool used)
    {
        const std::uint64_t bit = std::uint64_t{1} << place % 64;
        std::uint64_t& word = m_used[level][place / 64];
        word = used ? word | bit : word & ~bit;
    }

    void put(const Waiting& waiting)
    {
        const std::uint64_t difference = waiting.key ^ m_now;
        const unsigned int level =
            difference == 0 ? 0 : (63 - static_cast<unsigned int>(__builtin_clzll(difference))) / 8;
        const unsigned int place = byteOf(waiting.key, level);
        m_places[level][place].push_back(waiting);
        setUsed(level, place, true);
    }

    /// Makes the earliest time the present. What waits for it is then in its place on level 0.
    void goToFirst()
    {
        for (unsigned int level = 0;; ++level) {
            for (unsigned int word = 0; word < kPlaces / 64; ++word) {
                if (m_used[level][word] == 0)
                    continue;
                const unsigned int place =
                    64 * word + static_cast<unsigned int>(__builtin_ctzll(m_used[level][word]));
                if (level == 0)
                    m_now = (m_now & ~std::uint64_t{255}) | place;
                else
                    spread(level, place);
                return;
            }
        }
    }

    void spread(unsigned int level, unsigned int place)
    {
        m_spread.swap(m_places[level][place]);
        setUsed(level, place, false);
        m_now = std::min_element(m_spread.begin(), m_spread.end(),
                                 [](const Waiting& a, const Waiting& b) { return a.key < b.key; })
                    ->key;
        for (const Waiting& waiting : m_spread)
            put(waiting);
        m_spread.clear();
    }

    std::uint64_t m_now;
    std::size_t m_size = 0;
    std::vector<Waiting> m_late;
    std::array<std::array<std::vector<Waiting>, kPlaces>, kLevels> m_places;
    /// A bit for each place that holds something.
    std::array<std::array<std::uint64_t, kPlaces / 64>, kLevels> m_used{};
    std::vector<Waiting> m_spread;
};

} // namespace Tracewell
