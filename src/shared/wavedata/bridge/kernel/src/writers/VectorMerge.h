// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// Bits of a vector by groups of 32: an a-word and a b-word, 8 bytes a group.
constexpr unsigned int kBitsOfGroup = 32;
constexpr unsigned int kBytesOfGroup = 8;

/// The groups in which the bits from `firstBit` up to, not including, `endBit` lie. `firstBit` is
/// below `endBit`.
struct VectorSpan
{
    VectorSpan(unsigned int firstBit, unsigned int endBit)
        : firstGroup(firstBit / kBitsOfGroup), groups((endBit - 1) / kBitsOfGroup - firstGroup + 1),
          isWholeGroups((firstBit | endBit) % kBitsOfGroup == 0)
    {}

    unsigned int firstGroup;
    unsigned int groups;
    /// The bits are all bits of these groups.
    bool isWholeGroups;
};

/// Writes the groups of the span to `out`: bits `firstBit` to `endBit` from `value`, which starts
/// with the first of them in bit 0 of its first group, the others from `vector`. Reads no group of
/// `value` that holds none of the bits.
void mergeVector(const unsigned char* vector, const unsigned char* value, unsigned int firstBit,
                 unsigned int endBit, unsigned char* out);

} // namespace Tracewell
