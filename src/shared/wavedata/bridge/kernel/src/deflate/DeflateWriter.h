// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "HuffmanCode.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Tracewell {

/// Takes the literals and matches of an image and writes deflate blocks (RFC 1951) of them, each in
/// whichever of the three forms zlib would take and with zlib's bits.
class DeflateWriter
{
public:
    static constexpr unsigned int kShortestMatch = 3;
    static constexpr unsigned int kLongestMatch = 258;

    DeflateWriter();

    /// Starts a stream of an image of `size` bytes behind the bytes of `head`.
    void start(const std::uint8_t* image, unsigned int size, std::uint16_t head);

    void addLiteral(std::uint8_t byte)
    {
        m_symbols[m_symbolCount++] = kNoDistance << kIndexBits | byte;
        ++m_literalCounts[byte];
    }
    /// `length` bytes that lie `distance` before.
    void addMatch(unsigned int length, unsigned int distance)
    {
        const unsigned int over = length - kShortestMatch;
        const unsigned int code = distanceCode(distance - 1);
        m_symbols[m_symbolCount++] =
            ((distance - 1) << kCodeBits | code) << kIndexBits | kLengths | over;
        ++m_literalCounts[kFirstLength + m_lengthCodes[over]];
        ++m_distanceCounts[code];
    }
    /// zlib ends a block after so many symbols.
    bool isFull() const { return m_symbolCount == kMostSymbols; }

    /// Writes what was added as one block, the image's bytes up to `end`.
    void closeBlock(unsigned int end, bool last);
    /// Ends the stream with a number, the highest byte first.
    void finish(std::uint32_t tail);

    const char* data() const { return m_out.data(); }
    unsigned int size() const { return static_cast<unsigned int>(m_bits.m_next - m_out.data()); }

private:
    static constexpr unsigned int kEndOfBlock = 256;
    static constexpr unsigned int kFirstLength = 257;
    static constexpr unsigned int kLiterals = 286;
    static constexpr unsigned int kDistances = 30;
    static constexpr unsigned int kRunSymbols = 19;
    static constexpr unsigned int kMostSymbols = 16383;

    /// Parts of a noted symbol: which of m_firstBits, which distance code, and how far back above
    /// that. A literal has no distance, with a code of its own that has no bits.
    static constexpr unsigned int kIndexBits = 9;
    static constexpr unsigned int kLengths = 256;
    static constexpr unsigned int kCodeBits = 5;
    static constexpr unsigned int kNoDistance = kDistances;

    /// Bits and how many of them, lowest first.
    struct Bits
    {
        std::uint32_t m_bits;
        std::uint32_t m_count;
    };
    /// A distance code's word and the mask of the bits of the distance that follow it.
    struct DistanceBits
    {
        std::uint32_t m_bits;
        std::uint16_t m_length;
        std::uint16_t m_mask;
        std::uint32_t m_count;
    };
    /// A symbol of the code in which the lengths of both other codes are told, and what follows it.
    struct Run
    {
        std::uint8_t m_symbol;
        std::uint8_t m_count;
    };

    static unsigned int highestBit(unsigned int value)
    {
        return 31U - static_cast<unsigned int>(__builtin_clz(value));
    }
    static unsigned int distanceExtra(unsigned int back)
    {
        return back < 4 ? 0 : highestBit(back) - 1;
    }
    static unsigned int distanceCode(unsigned int back)
    {
        return back < 4 ? back : 2 * highestBit(back) + (back >> distanceExtra(back) & 1);
    }

    /// Where bits go; less than a byte stays pending.
    struct BitStream
    {
        /// At most 48 bits at a time.
        void put(std::uint64_t bits, unsigned int count)
        {
            m_pending |= bits << m_pendingCount;
            m_pendingCount += count;
            std::memcpy(m_next, &m_pending, sizeof m_pending);
            m_next += m_pendingCount / 8;
            m_pending >>= m_pendingCount & ~7U;
            m_pendingCount &= 7;
        }

        char* m_next = nullptr;
        std::uint64_t m_pending = 0;
        unsigned int m_pendingCount = 0;
    };

    void clearBlock();
    void findRuns(const HuffmanCode& code);
    void addRun(unsigned int symbol, unsigned int count);
    unsigned int extraBits() const;
    unsigned int bitsIn(const HuffmanCode& literals, const HuffmanCode& distances) const;
    void putLengths(unsigned int runLengths);
    void putSymbols(const HuffmanCode& literals, const HuffmanCode& distances);
    void putStored(unsigned int end);
    void put(std::uint64_t bits, unsigned int count) { m_bits.put(bits, count); }
    void padToByte();

    const std::uint8_t* m_image = nullptr;
    unsigned int m_blockStart = 0;

    std::array<std::uint8_t, kLongestMatch - kShortestMatch + 1> m_lengthCodes;
    std::vector<std::uint32_t> m_symbols;
    unsigned int m_symbolCount = 0;
    std::array<std::uint16_t, kLiterals> m_literalCounts;
    std::array<std::uint16_t, kDistances> m_distanceCounts;

    HuffmanCode m_literals;
    HuffmanCode m_distances;
    HuffmanCode m_runWords;
    HuffmanCode m_fixedLiterals;
    HuffmanCode m_fixedDistances;
    std::array<Run, kLiterals + kDistances> m_runs;
    unsigned int m_runCount = 0;
    std::array<std::uint16_t, kRunSymbols> m_runCounts;
    /// The bits of literals, then those of lengths.
    std::array<Bits, 2 * kLengths> m_firstBits;
    std::array<DistanceBits, kDistances + 1> m_distanceBits{};

    std::vector<char> m_out;
    BitStream m_bits;
};

} // namespace Tracewell
