// SPDX-License-Identifier: BSD-3-Clause

#include "BlockCodec.h"

namespace Tracewell {

std::size_t blockBytes(std::uint32_t flags, int count)
{
    const auto n = static_cast<std::size_t>(count);
    if (const unsigned int period = blockPeriod(flags)) {
        return period == 1 ? 0 : std::size_t{period} * sizeof(std::uint32_t);
    }
    const bool isWide = (flags & kWideFlag) != 0;
    const std::size_t slotBytes = isWide ? 8 : 4;
    const ValueType type = blockType(flags);
    std::size_t valueSlots = 0;
    if (const unsigned int bits = packedBits(type)) {
        valueSlots = n * bits / (slotBytes * 8) + 1;
    } else if (type == ValueByte || type == ValueInt32 ||
               (isWide && (type == ValueInt64 || type == ValueDouble))) {
        valueSlots = n;
    }
    return (n + valueSlots) * slotBytes;
}

GapSum addGaps(const DataBlockInfo& block)
{
    const BlockReader reader(block, block.count);
    GapSum gaps;
    for (int i = 0; i + 1 < block.count; ++i) {
        const long long gap = reader.delta(i);
        if (gap < 1 || __builtin_add_overflow(gaps.sum, gap, &gaps.sum)) {
            gaps.isAscending = false;
            break;
        }
        gaps.largest = gap > gaps.largest ? gap : gaps.largest;
    }
    return gaps;
}

void BlockReader::readValue(int i, Value& value) const
{
    const auto index = static_cast<std::size_t>(i);
    if (m_flags & kAlternatingFlag) {
        value.setByte(static_cast<unsigned char>(
            ((m_flags >> kFirstValueShift) ^ static_cast<unsigned int>(i)) & 1));
        return;
    }
    // A block that stores neither its values nor their rule, which no writer makes.
    if (!m_values || m_period) {
        return;
    }
    const ValueType type = blockType(m_flags);
    if (const unsigned int bits = packedBits(type)) {
        const std::size_t place = index * bits;
        const unsigned int mask = (1U << bits) - 1;
        value.setByte(static_cast<unsigned char>(m_values[place / 8] >> (place % 8) & mask));
        return;
    }
    const unsigned char* const slot = m_values + index * slotBytes();
    switch (type) {
    case ValueByte:
        value.setByte(*slot);
        break;
    case ValueInt32:
        value.setBits(type, load<std::uint32_t>(slot));
        break;
    case ValueInt64:
    case ValueDouble:
        if (m_isWide) {
            value.setBits(type, load<std::uint64_t>(slot));
        }
        break;
    default:
        break;
    }
}

} // namespace Tracewell
