// SPDX-License-Identifier: BSD-3-Clause

#include "BlockCompressor.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace Tracewell {

namespace {

/// Buffers of fewer transitions are never searched.
constexpr int kMinPatternCount = 100;
constexpr long long kMaxNarrowDelta = std::numeric_limits<std::uint32_t>::max();

using Deltas = std::array<std::uint32_t, kMaxBlockCount>;

/// How many deltas from the start must repeat with the period p, of n transitions. The leaf takes
/// n - (n - 1) % p of them; a search on records looks further where p divides n.
int patternLimit(int n, int p, bool onRecords)
{
    const int inLeaf = n - (n - 1) % p - 1;
    return onRecords && n % p == 0 ? n - 1 : inLeaf;
}

/// The shortest period of the deltas from the hint on, 0 if there is none. The hint then
/// remembers what came of it: see BufferHeader::patternHint.
int findPeriod(const std::uint32_t* deltas, int n, bool onRecords, std::int32_t& hint)
{
    if (hint == 0 || n < kMinPatternCount) {
        return 0;
    }
    for (int p = std::max(hint, 1); p <= kMaxPeriod && 2 * p < n; ++p) {
        const int limit = patternLimit(n, p, onRecords);
        if (std::equal(deltas + p, deltas + limit, deltas)) {
            hint = p;
            return p;
        }
    }
    if (hint < 0) {
        ++hint;
    }
    return 0;
}

std::uint32_t patternFlags(unsigned int firstValue, int period)
{
    return firstValue << kFirstValueShift | kAlternatingFlag |
           static_cast<std::uint32_t>(period) << kPeriodShift;
}

template <typename Word> void storeWord(std::uint32_t* data, std::size_t index, Word word)
{
    std::memcpy(reinterpret_cast<unsigned char*>(data) + index * sizeof(Word), &word, sizeof word);
}

/// The plain form of records, with slots of one Word.
template <typename Word>
void encodeRecords(const DataBaseTransiton* records, int n, ValueType kind, std::uint32_t* data,
                   std::size_t bytes)
{
    const auto count = static_cast<std::size_t>(n);
    for (std::size_t i = 0; i + 1 < count; ++i) {
        storeWord(data, i, static_cast<Word>(records[i + 1].time - records[i].time));
    }
    auto* const values = reinterpret_cast<unsigned char*>(data) + count * sizeof(Word);
    std::memset(values - sizeof(Word), 0, bytes - (count - 1) * sizeof(Word));
    if (const unsigned int bits = packedBits(kind)) {
        const std::uint64_t mask = (1U << bits) - 1;
        for (std::size_t i = 0; i < count; ++i) {
            values[i * bits / 8] |=
                static_cast<unsigned char>((records[i].payload & mask) << i * bits % 8);
        }
    } else if (bytes > count * sizeof(Word)) {
        for (std::size_t i = 0; i < count; ++i) {
            storeWord(data, count + i, static_cast<Word>(records[i].payload));
        }
    }
}

bool needsWideValues(ValueType kind)
{
    return kind == ValueInt64 || kind == ValueDouble;
}

/// Whether the value is one of the two codes of its kind that can make a pattern.
bool isPatternCode(ValueType kind, std::uint64_t value)
{
    return kind == ValueStdLogic                   ? value == 2 || value == 3
           : kind == ValueBit || kind == ValueVlog ? value <= 1
                                                   : false;
}

/// Whether the values come and go between the two codes of a pattern, in ascending time.
bool alternates(const DataBaseTransiton* records, int n, ValueType kind)
{
    bool holds = n > 1 && isPatternCode(kind, records[0].payload);
    for (int i = 1; holds && i < n; ++i) {
        holds = records[i].time >= records[i - 1].time && records[i].type == records[0].type &&
                records[i].payload != records[i - 1].payload &&
                isPatternCode(kind, records[i].payload);
    }
    return holds;
}

} // namespace

void BlockCompressor::compressAndStoreData(TransVecInfo& info, BTreeElem& leaf, bool noPattern,
                                           long long gapBefore)
{
    const int n = info.count;
    const DataBaseTransiton* const records = info.records();
    const ValueType kind = blockType(leaf.flags);
    long long largest = 0;
    for (int i = 1; i < n; ++i) {
        largest = std::max(largest, records[i].time - records[i - 1].time);
    }
    const bool isWide = needsWideValues(kind) || largest > kMaxNarrowDelta;
    leaf.largestDiff = largest;
    if (!isWide && !noPattern && alternates(records, n, kind)) {
        Deltas deltas;
        for (int i = 1; i < n; ++i) {
            deltas[static_cast<std::size_t>(i - 1)] =
                static_cast<std::uint32_t>(records[i].time - records[i - 1].time);
        }
        const int period = findPeriod(deltas.data(), n, true, info.patternHint);
        if (period > 0 && patternCompression(period, info, leaf, gapBefore)) {
            return;
        }
    }
    leaf.flags = isWide ? leaf.flags | kWideFlag : leaf.flags & ~kWideFlag;
    const std::size_t bytes = blockBytes(leaf.flags, n);
    std::uint32_t* const data = m_blocks.allocate(leaf, bytes);
    if (isWide) {
        encodeRecords<std::uint64_t>(records, n, kind, data, bytes);
    } else {
        encodeRecords<std::uint32_t>(records, n, kind, data, bytes);
    }
    info.count = 0;
}

bool BlockCompressor::patternCompression(int period, TransVecInfo& info, BTreeElem& leaf,
                                         long long gapBefore)
{
    // The one gap of such a leaf stands in largestDiff, which its insertion raises to gapBefore.
    if (period == 1 && gapBefore > leaf.largestDiff) {
        return false;
    }
    DataBaseTransiton* const records = info.records();
    const auto firstValue = static_cast<unsigned int>(records[0].payload);
    leaf.flags = (leaf.flags & kTypeMask) | patternFlags(firstValue, period);
    const int left = (info.count - 1) % period;
    const int taken = info.count - left;
    leaf.lastTime = records[taken - 1].time;
    leaf.count = taken;
    if (period > 1) {
        std::uint32_t* const data = m_blocks.allocate(leaf, blockBytes(leaf.flags, taken));
        for (int i = 0; i < period; ++i) {
            data[i] = static_cast<std::uint32_t>(records[i + 1].time - records[i].time);
        }
    }
    std::copy(records + taken, records + info.count, records);
    info.count = left;
    return true;
}

void BlockCompressor::compressAndStoreData(VlogTransVecInfo& info, BTreeElem& leaf, bool noPattern,
                                           long long gapBefore)
{
    const auto n = static_cast<std::size_t>(info.count);
    const bool isWide = (info.flags & kWideFlag) != 0;
    if (!noPattern && !isWide) {
        const int period = findPeriod(info.data, info.count, false, info.patternHint);
        if (period > 0 && patternCompression(period, info, leaf, gapBefore)) {
            return;
        }
    }
    const auto capacity = static_cast<std::size_t>(info.capacity);
    const std::size_t slotBytes = isWide ? 8 : 4;
    const unsigned int bits = packedBits(blockType(info.flags));
    const std::size_t valueBytes = (n * bits / (slotBytes * 8) + 1) * slotBytes;
    // The room for values follows the capacity, so that objects of like rates share block sizes.
    const std::size_t roomBytes = (capacity * bits / (slotBytes * 8) + 1) * slotBytes;
    auto* const out =
        reinterpret_cast<unsigned char*>(m_blocks.allocate(leaf, n * slotBytes + roomBytes));
    const auto* const in = reinterpret_cast<const unsigned char*>(info.data);
    std::memcpy(out, in, (n - 1) * slotBytes);
    std::memset(out + (n - 1) * slotBytes, 0, slotBytes);
    std::memcpy(out + n * slotBytes, in + capacity * slotBytes, valueBytes);
    info.count = 0;
}

bool BlockCompressor::patternCompression(int period, VlogTransVecInfo& info, BTreeElem& leaf,
                                         long long gapBefore)
{
    const std::uint32_t* const values = info.data + info.capacity;
    const bool isVlog = blockType(info.flags) == ValueVlog;
    const unsigned int bits = isVlog ? 2 : 4;
    const unsigned int firstValue = values[0] & ((1U << bits) - 1);
    if (!isPatternCode(blockType(info.flags), firstValue)) {
        return false;
    }
    const std::uint32_t wanted = isVlog ? (firstValue == 0 ? 0x44444444U : 0x11111111U)
                                        : (firstValue == 2 ? 0x32323232U : 0x23232323U);
    const int n = info.count;
    if (!std::all_of(values, values + n * static_cast<int>(bits) / 32,
                     [wanted](std::uint32_t word) { return word == wanted; })) {
        return false;
    }
    if (period == 1 && (gapBefore > info.largestDiff || info.data[0] != info.largestDiff)) {
        return false;
    }

    leaf.flags = (leaf.flags & kTypeMask) | patternFlags(firstValue, period);
    const int left = (n - 1) % period;
    leaf.count = n - left;
    if (period > 1) {
        std::memcpy(m_blocks.allocate(leaf, blockBytes(leaf.flags, leaf.count)), info.data,
                    static_cast<std::size_t>(period) * sizeof(std::uint32_t));
    }
    std::uint32_t* const deltas = info.data;
    for (int i = n - 1 - left; i < n - 1; ++i) {
        leaf.lastTime -= deltas[i];
    }

    // What stays behind becomes a buffer that begins with its own first transition.
    std::uint32_t* const kept = info.data + info.capacity;
    std::fill(kept, kept + info.capacity * static_cast<int>(bits) / 32 + 1, 0U);
    info.count = left;
    info.largestDiff = 0;
    if (left > 0) {
        info.firstTime = leaf.lastTime + deltas[n - 1 - left];
    }
    for (int i = 0; i + 1 < left; ++i) {
        deltas[i] = deltas[n - left + i];
        info.largestDiff = std::max<long long>(info.largestDiff, deltas[i]);
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(kept);
    for (int i = 0; i < left; ++i) {
        // The values alternate, so each is known from its place.
        const unsigned int value = firstValue ^ (static_cast<unsigned int>(leaf.count + i) & 1U);
        const unsigned int place = static_cast<unsigned int>(i) * bits;
        bytes[place / 8] |= static_cast<unsigned char>(value << place % 8);
    }
    return true;
}

} // namespace Tracewell
