// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"
#include "testing/Seed.h"

#include "ImageCompressor.h"

#include <algorithm>
#include <utility>

namespace Tracewell {
namespace {

/// The `kind`th way to fill an image, so that each way through the compressor is gone: noise of any
/// alphabet, records, runs, hashes that collide, codes that would grow past 15 bits.
std::string imageOf(std::mt19937& random, unsigned int kind, std::size_t size)
{
    std::string image(size, '\0');
    const std::size_t used = below(random, 2) == 0 ? size : random() % size;
    const unsigned int alphabet = 1 + below(random, 256);
    const auto fill = [&](const auto& byteAt) {
        for (std::size_t i = 0; i < used; ++i) {
            image[i] = static_cast<char>(byteAt(i));
        }
    };
    if (kind == 0) {
        fill([&](std::size_t) { return random() % alphabet; });
    } else if (kind == 1) {
        fill([&](std::size_t i) { return i % 17 < 3 ? random() : i % 17 == 3 ? i / 256 : 0; });
    } else if (kind == 2) {
        fill([&](std::size_t i) {
            return i < 300 ? random() : static_cast<unsigned char>(image[i - 1 - random() % 3]);
        });
    } else if (kind == 3) {
        fill([&](std::size_t) { return random() % 3 << 5 | random() % 2; });
    } else {
        std::size_t end = 0;
        for (std::size_t last = 1, count = 1; end + count <= used;
             last = std::exchange(count, last + count)) {
            std::fill_n(image.begin() + static_cast<std::ptrdiff_t>(end), count,
                        static_cast<char>(count * 37));
            end += count;
        }
        std::shuffle(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(end), random);
    }
    return image;
}

TEST(ImageCompressor, givesTheBytesOfCompress2AlsoWhenCut)
{
    std::mt19937 random(Tracewell::seeded(7));
    ImageCompressor compressor;
    int cut = 0;
    for (unsigned int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        // Above 32,768 bytes zlib itself is called.
        const std::size_t sizes[] = {10240, 1U + below(random, 3000), 32700U + below(random, 100)};
        const std::string image = imageOf(random, round % 5, sizes[below(random, 3)]);
        std::string expected(image.size(), '\0');
        uLongf length = expected.size();
        const bool fits = compress2(reinterpret_cast<Bytef*>(expected.data()), &length,
                                    bytesOf(image), image.size(), 1) == Z_OK;
        expected.resize(length);
        ASSERT_EQ(compressor.compress(image.data(), static_cast<unsigned int>(image.size())), fits);
        ASSERT_EQ(std::string(compressor.data(), compressor.size()), expected);
        cut += fits ? 0 : 1;
    }
    EXPECT_GT(cut, 10);
    EXPECT_LT(cut, 300);
}

} // namespace
} // namespace Tracewell
