// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>

namespace tracewell {

/// A record of a tree in a transition database, as it lies in the file: a leaf describes a block
/// of transitions, a node above it the leaves below.
struct TransitionNode
{
    static constexpr long long kBytes = 44;
    static constexpr int kMostInBlock = 2048;
    static constexpr unsigned int kLongestPeriod = 49;

    long long firstTime = 0;
    long long lastTime = 0;
    long long largestGap = 0;
    int count = 0;
    long long offset = 0;
    std::uint32_t children = 0;
    std::uint32_t flags = 0;

    static TransitionNode read(const unsigned char* record);

    unsigned int kind() const { return flags & 0xF; }
    bool isWide() const { return (flags & 1u << 4) != 0; }
    bool alternates() const { return (flags & 1u << 5) != 0; }
    /// Of the gaps; 0 where each is stored.
    unsigned int period() const { return flags >> 8 & 0xFF; }
    unsigned int slotBytes() const { return isWide() ? 8 : 4; }
    /// Whether the block can tell the values.
    bool hasValues() const;
    /// What the block takes in the file. The count is to be positive.
    long long blockBytes() const;
    /// The gaps that the block has in the front.
    int storedGaps() const;
};

/// Both halves of a number in the tree section, the high one first.
long long loadHalves(const unsigned char* bytes);

} // namespace tracewell
