// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>
#include <vector>

namespace Tracewell {

class WdbEventBlock;
class WdbScalarBTree;

/// The trees that one walk over event blocks fills, ordered by address, so that an event reaches
/// its trees with one look-up and without a step for the bytes that nobody asked for.
class ScanTargets
{
public:
    explicit ScanTargets(const std::vector<WdbScalarBTree*>& trees);

    /// Blocks come in the order in which they were stored. What the block says of lengths and
    /// addresses is not trusted.
    void addBlock(const WdbEventBlock& block);

private:
    struct Target
    {
        long long address;
        WdbScalarBTree* tree;
        bool isBit;
        unsigned char bitMask;
        /// What the tree took last, kUnknown if the tree has to be asked.
        short lastValue;
    };
    static constexpr short kUnknown = -1;

    void buildJumpTable();
    /// `address` is within the span of the targets.
    Target* firstAtOrAbove(long long address);
    void addEvent(long long time, long long start, unsigned int length, const char* value);

    std::vector<Target> m_targets;
    /// For each address from m_low to m_high the first target there or above; empty when the span
    /// is too wide for the number of targets.
    std::vector<std::uint32_t> m_jumpTable;
    long long m_low = 0;
    long long m_high = 0;
    /// No tree holds anything after it.
    long long m_latestTime;
};

} // namespace Tracewell
