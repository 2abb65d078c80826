// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tracewell {

/// Changes that were gathered history by history, given back in the order of time; those of one
/// time in the order in which they came. They are dealt into parts by time first, and a part is
/// sorted when it is reached: that is work on few changes, which a processor has at hand.
class GatheredChanges
{
public:
    struct Change
    {
        long long time;
        std::uint32_t source;
        std::uint32_t value;
    };

    void clear();
    std::size_t size() const { return m_gathered.size(); }
    void add(const Change& change) { m_gathered.push_back(change); }
    /// Ends gathering. All times lie from `from` to `to`.
    void arrange(long long from, long long to);
    /// What comes next, valid until the next call of clear; null at the end.
    const Change* peek()
    {
        return m_at < m_partEnd || sortNextPart() ? m_changes.data() + m_at : nullptr;
    }
    /// After a peek that was not null.
    void pop() { ++m_at; }

private:
    std::size_t partOf(long long time) const
    {
        return static_cast<std::size_t>(offsetOf(time) >> m_shift);
    }
    unsigned long long offsetOf(long long time) const
    {
        return static_cast<unsigned long long>(time) - static_cast<unsigned long long>(m_from);
    }
    bool sortNextPart();
    void sort(Change* begin, Change* end);

    std::vector<Change> m_gathered;
    /// The changes of one part behind those of the part before.
    std::vector<Change> m_changes;
    long long m_from = 0;
    /// A part covers 2^m_shift units of time.
    unsigned int m_shift = 0;
    /// Where each part ends in m_changes.
    std::vector<std::size_t> m_partEnds;
    std::size_t m_part = 0;
    std::size_t m_partEnd = 0;
    std::size_t m_at = 0;
    std::vector<Change> m_sorted;
};

} // namespace tracewell
