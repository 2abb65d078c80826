// SPDX-License-Identifier: BSD-3-Clause

#include "VectorMerge.h"
#include "testing/Seed.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace Tracewell {
namespace {

using Bytes = std::vector<unsigned char>;

unsigned int pick(std::mt19937& random, unsigned int count)
{
    return static_cast<unsigned int>(random() % count);
}

Bytes makeRandom(std::mt19937& random, std::size_t groups)
{
    Bytes bytes(groups * kBytesOfGroup);
    const unsigned int kind = pick(random, 3);
    for (unsigned char& byte : bytes) {
        byte = kind == 0 ? 0 : kind == 1 ? 0xff : static_cast<unsigned char>(random());
    }
    return bytes;
}

/// The four-state code of a bit.
unsigned int getBit(const Bytes& vector, unsigned int bit)
{
    const std::size_t place = bit / 32 * 8 + bit % 32 / 8;
    return (vector[place] >> bit % 8 & 1u) + 2 * (vector[place + 4] >> bit % 8 & 1u);
}

TEST(VectorMerge, bitsOfTheChangeAreNewAndAllOthersOld)
{
    for (unsigned int seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(Tracewell::seeded(seed));
        const unsigned int firstBit = pick(random, 2) ? pick(random, 8) * 32 : pick(random, 256);
        const unsigned int width = 1 + pick(random, pick(random, 2) ? 40 : 300);
        const unsigned int endBit = firstBit + width;
        const VectorSpan span(firstBit, endBit);
        ASSERT_EQ(span.firstGroup, firstBit / 32);
        ASSERT_EQ(span.firstGroup + span.groups, (endBit + 31) / 32);
        ASSERT_EQ(span.isWholeGroups, firstBit % 32 == 0 && width % 32 == 0);

        // No group too many on either side: a step beyond is an error of the sanitizer's.
        const Bytes vector = makeRandom(random, (endBit + 31) / 32);
        const Bytes value = makeRandom(random, (width + 31) / 32);
        Bytes out(span.groups * kBytesOfGroup);
        mergeVector(vector.data(), value.data(), firstBit, endBit, out.data());
        for (unsigned int bit = 0; bit < span.groups * 32; ++bit) {
            const unsigned int place = span.firstGroup * 32 + bit;
            const bool isNew = firstBit <= place && place < endBit;
            ASSERT_EQ(getBit(out, bit),
                      isNew ? getBit(value, place - firstBit) : getBit(vector, place))
                << "bit " << place << " of " << firstBit << " to " << endBit;
        }
        if (span.isWholeGroups) {
            ASSERT_EQ(out, value);
        }
    }
}

} // namespace
} // namespace Tracewell
