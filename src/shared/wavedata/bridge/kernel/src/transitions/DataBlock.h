// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Value.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace Tracewell {

struct ListNode;

/// So many transitions fill an open buffer, and so many leaves the node above them.
constexpr int kMaxBlockCount = 2048;
constexpr int kMaxPeriod = 49;

// The flags word of a block.
constexpr std::uint32_t kTypeMask = 0xF;
/// Deltas and value slots are 64-bit words.
constexpr std::uint32_t kWideFlag = 1U << 4;
/// The values alternate and hold no storage.
constexpr std::uint32_t kAlternatingFlag = 1U << 5;
/// With kAlternatingFlag: the low bit of the first value.
constexpr std::uint32_t kFirstValueFlag = 1U << 6;
constexpr int kFirstValueShift = 6;
/// With kAlternatingFlag: the second bit of the first value. Written, never read.
constexpr std::uint32_t kFirstValueHighFlag = 1U << 7;
constexpr int kPeriodShift = 8;
constexpr std::uint32_t kPeriodMask = 0xFFU << kPeriodShift;

inline ValueType blockType(std::uint32_t flags)
{
    return static_cast<ValueType>(flags & kTypeMask);
}
/// Of the deltas, in slots; 0 for a block that stores each of them.
inline unsigned int blockPeriod(std::uint32_t flags)
{
    return (flags & kPeriodMask) >> kPeriodShift;
}
/// What one value takes in a bit-packed kind, and 0 for the other kinds.
constexpr unsigned int packedBits(ValueType type)
{
    return type == ValueBit ? 1 : type == ValueVlog ? 2 : type == ValueStdLogic ? 4 : 0;
}

/// What all that holds transitions in stored form has: a leaf of a tree and a packed open buffer.
struct DataBlockInfo
{
    long long firstTime = 0;
    long long lastTime = 0;
    /// Largest gap between neighbours; in a node also the gap to the leaf before it.
    long long largestDiff = 0;
    /// Delta slots, then values; at an 8-byte border.
    std::uint32_t* data = nullptr;
    std::int32_t count = 0;
    std::uint32_t flags = 0;
};

/// A node of an object's tree; a leaf describes a block. While data of a leaf is null the block
/// lies in the file at fileOffset, or there is none because its period is 1.
struct BTreeElem : DataBlockInfo
{
    long long fileOffset = -1;
    /// The elements below; null in a leaf.
    std::unique_ptr<std::vector<BTreeElem*>> children;

    bool isLeaf() const { return !children; }
};

/// Of a block with such flags that holds `count` transitions, in the file.
std::size_t blockBytes(std::uint32_t flags, int count);

/// One record of a generic buffer: a time and a value without a text.
struct DataBaseTransiton
{
    long long time;
    std::uint32_t aux;
    std::uint32_t type;
    std::uint64_t payload;
};

static_assert(sizeof(DataBaseTransiton) == 24);

/// Gives `value` what a record of this kind carries: the kinds without a stored form come out
/// zeroed. Kinds 10 to 12 keep their tag.
inline std::uint64_t storedPayload(const Value& value)
{
    switch (value.getType()) {
    case ValueByte:
    case ValueBit:
    case ValueVlog:
    case ValueStdLogic:
        return value.getByte();
    case ValueInt32:
        return value.getUInt32();
    case ValueInt64:
    case ValueDouble:
        return value.getUInt64();
    default:
        return 0;
    }
}

/// The header of an object's open buffer. It belongs to the page slot that points to it only
/// while its id is that object's: an eviction can leave the slot of another page behind. One
/// cache line, since every transition of the object reads and writes it.
struct alignas(64) BufferHeader : DataBlockInfo
{
    static constexpr std::uint32_t kNoId = 0xFFFFFFFF;
    static constexpr std::int32_t kFreshHint = -2;

    /// Guarded by the stripe of the object, except that a stale slot's owner looks at it too.
    std::atomic<std::uint32_t> id{kNoId};
    std::int32_t capacity = 0;
    /// Of the pattern search: -2 and -1 for the searches left, 0 for none, or the last period.
    std::int32_t patternHint = kFreshHint;
    bool initialValueChecked = false;
    /// Whether it is a VlogTransVecInfo; the type byte of its page cannot tell.
    bool isPacked = false;
    /// Of a packed buffer that is not empty: the byte that its last value lies in.
    std::uint8_t lastByte = 0;
    /// The pool's block that `data` or `records` lies in.
    ListNode* node = nullptr;
};

static_assert(sizeof(BufferHeader) == 64);

/// The header of a generic buffer. Of the inherited block only data, count and, while that is not
/// 0, lastTime are in use.
struct TransVecInfo : BufferHeader
{
    static constexpr int kFirstCapacity = 2;

    DataBaseTransiton* records() const { return reinterpret_cast<DataBaseTransiton*>(data); }
};

/// The header of a packed buffer (ValueVlog, ValueStdLogic), which is a block whose values begin
/// behind `capacity` delta slots.
struct VlogTransVecInfo : BufferHeader
{
    static constexpr int kFirstCapacity = 32;
};

} // namespace Tracewell
