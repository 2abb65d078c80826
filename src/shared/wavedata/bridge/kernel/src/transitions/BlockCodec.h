// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"

#include <cstring>

namespace Tracewell {

/// Reads the transitions of a stored block or of a packed buffer in order. Never reads outside a
/// block of blockBytes(flags, count), or of a buffer of `base` slots.
class BlockReader
{
public:
    /// `base` is where the values begin, in slots: the count of a block, the capacity of a buffer.
    /// A block whose period is not 1 must have its data in memory, and keeps it there for the
    /// reader's life.
    BlockReader(const DataBlockInfo& block, int base)
        : m_flags(block.flags), m_period(blockPeriod(block.flags)), m_count(block.count),
          m_firstTime(block.firstTime), m_largestDiff(block.largestDiff),
          m_bytes(reinterpret_cast<const unsigned char*>(block.data)),
          m_isWide((block.flags & kWideFlag) != 0),
          m_values(m_bytes ? m_bytes + std::size_t(base) * slotBytes() : nullptr)
    {}

    int count() const { return m_count; }
    long long firstTime() const { return m_firstTime; }
    /// From transition i to the next, 0 <= i < count() - 1.
    long long delta(int i) const
    {
        if (m_period == 1 || !m_bytes) {
            return m_largestDiff;
        }
        const auto slot =
            m_period ? static_cast<unsigned int>(i) % m_period : static_cast<unsigned int>(i);
        if (m_isWide && !m_period) {
            return static_cast<long long>(load<std::uint64_t>(m_bytes + std::size_t{slot} * 8));
        }
        return load<std::uint32_t>(m_bytes + std::size_t{slot} * 4);
    }
    /// Adds without overflow: damaged deltas give some time.
    static long long advance(long long time, long long delta)
    {
        return static_cast<long long>(static_cast<unsigned long long>(time) +
                                      static_cast<unsigned long long>(delta));
    }
    /// Value i, 0 <= i < count(), as queries give it: packed kinds come as ValueByte, and kinds
    /// without a stored form leave `value` alone.
    void readValue(int i, Value& value) const;

private:
    template <typename Word> static Word load(const unsigned char* place)
    {
        Word word;
        std::memcpy(&word, place, sizeof word);
        return word;
    }
    std::size_t slotBytes() const { return m_isWide ? 8 : 4; }

    std::uint32_t m_flags;
    unsigned int m_period;
    int m_count;
    long long m_firstTime;
    long long m_largestDiff;
    const unsigned char* m_bytes;
    bool m_isWide;
    const unsigned char* m_values;
};

/// What the gaps of a stored block, whose data is in memory if it has any, come to.
struct GapSum
{
    long long sum = 0;
    long long largest = 0;
    /// Every gap is above 0, and the sum is below 2^63.
    bool isAscending = true;
};

GapSum addGaps(const DataBlockInfo& block);

} // namespace Tracewell
