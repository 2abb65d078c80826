// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbEventBlock.h"

#include <array>
#include <cstddef>

namespace tracewell {

// An index by time as it lies in the file.

struct IndexTreeHeader
{
    long long root;
    long long startTime;
    unsigned char reserved[256];
};
static_assert(sizeof(IndexTreeHeader) == 272);

using IndexKey = std::array<unsigned char, Tracewell::WdbEventBlock::kKeySize>;

struct IndexNode
{
    static constexpr unsigned int kSlots = 100;

    /// What the end of a node tells by itself.
    struct Tail
    {
        unsigned int count;
        unsigned char isLeaf;
        unsigned char padding[3];
    };

    long long children[kSlots];
    long long lengths[kSlots];
    long long largestDiff;
    IndexKey keys[kSlots];
    Tail tail;

    long long precedingLength(unsigned int entry) const
    {
        return entry > 0 ? lengths[entry - 1] : 0;
    }
};
static_assert(sizeof(IndexNode) == 27216 && offsetof(IndexNode, keys) == 1608 &&
              offsetof(IndexNode, tail) == 27208);

struct IndexRecord
{
    long long block;
    unsigned int size;
    unsigned int padding;
    long long largestDiff;
};
static_assert(sizeof(IndexRecord) == 24);

/// All nodes but those of the right edge are full, so no sound tree is deeper.
constexpr unsigned int kMostIndexLevels = 10;

} // namespace tracewell
