// SPDX-License-Identifier: BSD-3-Clause

#include "FastDeflater.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace Tracewell {

namespace {

constexpr unsigned int kHashes = 1U << 15;
/// The farthest that zlib looks back in its window of 32 KB.
constexpr unsigned int kFarthest = 32768 - 262;
constexpr unsigned int kMostCandidates = 4;
constexpr unsigned int kGoodEnough = 8;
constexpr unsigned int kLongestEntered = 4;
/// Deflate with a window of 32 KB, the fastest level.
constexpr std::uint16_t kHead = 0x7801;

template <class Word> Word loadAt(const std::uint8_t* bytes)
{
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t threeAt(const std::uint8_t* bytes)
{
    return loadAt<std::uint32_t>(bytes) & 0xFFFFFF;
}

/// The first of three bytes counts with its low five bits only.
unsigned int hashOf(std::uint32_t three)
{
    return (three << 10 & 0x7C00) ^ (three >> 3 & 0x1FE0) ^ three >> 16;
}

/// How many bytes of two words are equal before the first that differs.
unsigned int equalBytes(std::uint64_t differing)
{
    return differing == 0 ? 8 : static_cast<unsigned int>(__builtin_ctzll(differing)) / 8;
}

/// How many bytes are equal, up to `most`; may look seven bytes further.
unsigned int equalBytes(const std::uint8_t* left, const std::uint8_t* right, unsigned int most)
{
    for (unsigned int count = 0; count < most; count += 8) {
        const unsigned int equal =
            equalBytes(loadAt<std::uint64_t>(left + count) ^ loadAt<std::uint64_t>(right + count));
        if (equal < 8) {
            return std::min(most, count + equal);
        }
    }
    return most;
}

/// The tables of positions, over one image.
struct Search
{
    struct Match
    {
        unsigned int m_length;
        unsigned int m_start;
    };

    void prefetch(unsigned int at) const
    {
        __builtin_prefetch(&m_heads[hashOf(threeAt(m_image + at))]);
    }

    /// Makes `at` the latest position of its hash, and gives the one before as the tables count.
    unsigned int enter(unsigned int at) const
    {
        std::uint16_t& head = m_heads[hashOf(threeAt(m_image + at))];
        const std::uint16_t before = head;
        m_links[at] = before;
        head = static_cast<std::uint16_t>(m_base + at);
        return before;
    }

    /// The longest match at `at`, among `candidate` and those behind it; shorter than the shortest
    /// if there is none.
    Match find(unsigned int at, unsigned int candidate) const
    {
        const unsigned int nearest = m_base + (at > kFarthest ? at - kFarthest : 0);
        const std::uint8_t* const here = m_image + at;
        const std::uint64_t word = loadAt<std::uint64_t>(here);
        const unsigned int left = m_size - at;
        const unsigned int enough = std::min(left, kGoodEnough);
        Match match{DeflateWriter::kShortestMatch - 1, 0};
        for (unsigned int tries = kMostCandidates; candidate > nearest && tries > 0; --tries) {
            const unsigned int start = candidate - m_base;
            const std::uint8_t* const there = m_image + start;
            const unsigned int length = equalBytes(loadAt<std::uint64_t>(there) ^ word);
            if (length >= enough) {
                return {equalBytes(there, here, std::min(left, DeflateWriter::kLongestMatch)),
                        start};
            }
            if (length > match.m_length) {
                match = {length, start};
            }
            candidate = m_links[start];
        }
        return match;
    }

    const std::uint8_t* m_image;
    unsigned int m_size;
    unsigned int m_base;
    std::uint16_t* m_heads;
    std::uint16_t* m_links;
};

} // namespace

FastDeflater::FastDeflater() : m_heads(kHashes), m_links(kLargest) {}

void FastDeflater::compress(const char* image, unsigned int size)
{
    load(image, size);
    const Search search{m_image.data(), size, m_base, m_heads.data(), m_links.data()};
    m_writer.start(m_image.data(), size, kHead);
    for (unsigned int at = 0; at < size;) {
        Search::Match match{0, 0};
        if (size - at >= DeflateWriter::kShortestMatch) {
            match = search.find(at, search.enter(at));
        }
        if (match.m_length < DeflateWriter::kShortestMatch) {
            search.prefetch(at + 1);
            m_writer.addLiteral(m_image[at++]);
        } else {
            const unsigned int end = at + match.m_length;
            search.prefetch(end);
            m_writer.addMatch(match.m_length, at - match.m_start);
            if (match.m_length <= kLongestEntered && size - end >= DeflateWriter::kShortestMatch) {
                while (++at < end) {
                    search.enter(at);
                }
            }
            at = end;
        }
        if (m_writer.isFull()) {
            m_writer.closeBlock(at, false);
        }
    }
    m_writer.closeBlock(size, true);
    m_writer.finish(libdeflate_adler32(1, image, size));
}

void FastDeflater::load(const char* image, unsigned int size)
{
    // Comparisons look a word past the end.
    constexpr unsigned int kBehind = sizeof(std::uint64_t);
    if (m_image.size() < size + kBehind) {
        m_image.resize(size + kBehind);
    }
    std::memcpy(m_image.data(), image, size);
    std::memset(m_image.data() + size, 0, kBehind);
    m_base += m_size;
    m_size = size;
    if (m_base + size > std::numeric_limits<std::uint16_t>::max()) {
        std::fill(m_heads.begin(), m_heads.end(), std::uint16_t{0});
        m_base = 0;
    }
}

} // namespace Tracewell
