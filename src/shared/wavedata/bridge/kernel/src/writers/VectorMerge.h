// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

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

/// Where vectors are merged that are not whole groups.
class VectorScratch
{
public:
    /// Gives `write` what a change of the span comes to: the address of its first group, its bytes,
    /// and their number. The vector lies at `address`; see mergeVector for the rest.
    template <class Write>
    void pass(long long address, const unsigned char* vector, const unsigned char* value,
              unsigned int firstBit, unsigned int endBit, const Write& write)
    {
        if (endBit <= firstBit) {
            return;
        }
        const VectorSpan span(firstBit, endBit);
        if (!span.isWholeGroups) {
            reserve(span.groups);
            mergeVector(vector, value, firstBit, endBit, m_bytes.get());
            value = m_bytes.get();
        }
        const unsigned long long place = static_cast<unsigned long long>(address) +
                                         std::uint64_t{span.firstGroup} * kBytesOfGroup;
        write(static_cast<long long>(place), span.groups * kBytesOfGroup, value);
        if (m_groups > kMostGroupsKept) {
            release();
        }
    }

private:
    /// A buffer beyond this is given back, so that one huge vector does not pin memory.
    static constexpr unsigned int kMostGroupsKept = 100;

    void reserve(unsigned int groups)
    {
        if (groups <= m_groups) {
            return;
        }
        release();
        m_bytes.reset(new unsigned char[std::size_t{groups} * kBytesOfGroup]);
        m_groups = groups;
    }
    void release()
    {
        m_groups = 0;
        m_bytes.reset();
    }

    std::unique_ptr<unsigned char[]> m_bytes;
    unsigned int m_groups = 0;
};

} // namespace Tracewell
