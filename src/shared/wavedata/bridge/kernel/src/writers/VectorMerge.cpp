// SPDX-License-Identifier: BSD-3-Clause

#include "VectorMerge.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Tracewell {

namespace {

constexpr std::uint32_t kAllBits = 0xFFFFFFFFu;

/// The words of one group; both take the same way.
struct Group
{
    std::uint32_t a;
    std::uint32_t b;
};
static_assert(sizeof(Group) == kBytesOfGroup);

Group load(const unsigned char* place)
{
    Group group;
    std::memcpy(&group, place, sizeof group);
    return group;
}

std::uint32_t choose(std::uint32_t mask, std::uint32_t ifSet, std::uint32_t ifClear)
{
    return (ifSet & mask) | (ifClear & ~mask);
}

} // namespace

void mergeVector(const unsigned char* vector, const unsigned char* value, unsigned int firstBit,
                 unsigned int endBit, unsigned char* out)
{
    const VectorSpan span(firstBit, endBit);
    const unsigned int shift = firstBit % kBitsOfGroup;
    const unsigned int valueGroups = (endBit - firstBit - 1) / kBitsOfGroup + 1;
    const std::uint32_t lastMask = kAllBits >> (kBitsOfGroup - 1 - (endBit - 1) % kBitsOfGroup);
    vector += std::size_t{span.firstGroup} * kBytesOfGroup;

    std::uint32_t mask = kAllBits << shift;
    // What the value's groups so far hold for the group that follows.
    Group carry{0, 0};
    for (unsigned int i = 0; i < span.groups; ++i) {
        const std::size_t place = std::size_t{i} * kBytesOfGroup;
        const Group source = i < valueGroups ? load(value + place) : Group{0, 0};
        const std::uint64_t a = std::uint64_t{source.a} << shift | carry.a;
        const std::uint64_t b = std::uint64_t{source.b} << shift | carry.b;
        carry = {static_cast<std::uint32_t>(a >> 32), static_cast<std::uint32_t>(b >> 32)};

        if (i + 1 == span.groups) {
            mask &= lastMask;
        }
        const Group old = load(vector + place);
        const Group merged{choose(mask, static_cast<std::uint32_t>(a), old.a),
                           choose(mask, static_cast<std::uint32_t>(b), old.b)};
        std::memcpy(out + place, &merged, sizeof merged);
        mask = kAllBits;
    }
}

} // namespace Tracewell
