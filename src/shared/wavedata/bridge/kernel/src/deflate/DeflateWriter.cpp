// SPDX-License-Identifier: BSD-3-Clause

#include "DeflateWriter.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {

namespace {

enum BlockForm : unsigned int { Stored = 0, FixedCodes = 1, OwnCodes = 2 };

/// Symbols of the run code beside the lengths themselves.
constexpr unsigned int kLastAgain = 16;
constexpr unsigned int kFewZeros = 17;
constexpr unsigned int kManyZeros = 18;
constexpr unsigned int kLongestRunWord = 7;

constexpr std::uint8_t kRunOrder[] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                      11, 4,  12, 3, 13, 2, 14, 1, 15};
constexpr unsigned int kFewestRunLengths = 4;

unsigned int runExtra(unsigned int symbol)
{
    return symbol == kLastAgain ? 2 : symbol == kFewZeros ? 3 : symbol == kManyZeros ? 7 : 0;
}

/// Code of a length that is `over` above the shortest, counted from the first, and its extra bits.
unsigned int lengthExtra(unsigned int over)
{
    return over < 8 || over == 255 ? 0 : 29U - static_cast<unsigned int>(__builtin_clz(over));
}
unsigned int lengthCode(unsigned int over)
{
    const unsigned int extra = lengthExtra(over);
    return over == 255 ? 28 : over < 8 ? over : 4 * (extra + 1) + (over >> extra & 3);
}

unsigned int bytesFor(unsigned int bits)
{
    // With the three bits of the block's head.
    return (bits + 3 + 7) / 8;
}

} // namespace

DeflateWriter::DeflateWriter() : m_symbols(kMostSymbols)
{
    for (unsigned int over = 0; over < m_lengthCodes.size(); ++over) {
        m_lengthCodes[over] = static_cast<std::uint8_t>(lengthCode(over));
    }
    std::uint8_t lengths[HuffmanCode::kMostSymbols];
    for (unsigned int symbol = 0; symbol < HuffmanCode::kMostSymbols; ++symbol) {
        lengths[symbol] = symbol < 144 ? 8 : symbol < 256 ? 9 : symbol < 280 ? 7 : 8;
    }
    m_fixedLiterals.assign(lengths, HuffmanCode::kMostSymbols);
    std::fill_n(lengths, kDistances, std::uint8_t{5});
    m_fixedDistances.assign(lengths, kDistances);
}

void DeflateWriter::start(const std::uint8_t* image, unsigned int size, std::uint16_t head)
{
    // No block is longer than its bytes, the head of a stored one and a byte that is not full;
    // bits go out eight bytes at a time.
    const unsigned int blocks = size / kMostSymbols + 2;
    const std::size_t room = size + std::size_t{blocks} * 6 + 16;
    if (m_out.size() < room) {
        m_out.resize(room);
    }
    m_image = image;
    m_blockStart = 0;
    m_bits = {m_out.data(), 0, 0};
    put(head >> 8 | (head & 0xFFU) << 8, 16);
    clearBlock();
}

void DeflateWriter::clearBlock()
{
    m_symbolCount = 0;
    m_literalCounts.fill(0);
    m_literalCounts[kEndOfBlock] = 1;
    m_distanceCounts.fill(0);
}

void DeflateWriter::closeBlock(unsigned int end, bool last)
{
    m_literals.build(m_literalCounts.data(), kLiterals, HuffmanCode::kLongest);
    m_distances.build(m_distanceCounts.data(), kDistances, HuffmanCode::kLongest);
    m_runCount = 0;
    m_runCounts.fill(0);
    findRuns(m_literals);
    findRuns(m_distances);
    m_runWords.build(m_runCounts.data(), kRunSymbols, kLongestRunWord);

    unsigned int runLengths = kRunSymbols;
    while (runLengths > kFewestRunLengths && m_runWords[kRunOrder[runLengths - 1]].m_length == 0) {
        --runLengths;
    }
    unsigned int headBits = 5 + 5 + 4 + 3 * runLengths;
    for (unsigned int symbol = 0; symbol < kRunSymbols; ++symbol) {
        headBits += m_runCounts[symbol] * (m_runWords[symbol].m_length + runExtra(symbol));
    }

    const unsigned int extra = extraBits();
    const unsigned int own = bytesFor(headBits + extra + bitsIn(m_literals, m_distances));
    const unsigned int fixed = bytesFor(extra + bitsIn(m_fixedLiterals, m_fixedDistances));
    const unsigned int lastBit = last ? 1 : 0;
    if (end - m_blockStart + 4 <= std::min(own, fixed)) {
        put(Stored << 1 | lastBit, 3);
        putStored(end);
    } else if (fixed <= own) {
        put(FixedCodes << 1 | lastBit, 3);
        putSymbols(m_fixedLiterals, m_fixedDistances);
    } else {
        put(OwnCodes << 1 | lastBit, 3);
        putLengths(runLengths);
        putSymbols(m_literals, m_distances);
    }
    m_blockStart = end;
    clearBlock();
}

/// Appends the lengths of a code, with words for lengths that repeat.
void DeflateWriter::findRuns(const HuffmanCode& code)
{
    constexpr unsigned int kNone = ~0U;
    unsigned int before = kNone;
    for (unsigned int at = 0; at < code.used();) {
        const unsigned int length = code[at].m_length;
        const unsigned int most = length == 0 ? 138 : length == before ? 6 : 7;
        const unsigned int least = length == 0 || length == before ? 3 : 4;
        unsigned int count = 1;
        while (count < most && at + count < code.used() && code[at + count].m_length == length) {
            ++count;
        }
        at += count;
        if (count < least) {
            for (; count > 0; --count) {
                addRun(length, 0);
            }
        } else if (length == 0) {
            if (count <= 10) {
                addRun(kFewZeros, count - 3);
            } else {
                addRun(kManyZeros, count - 11);
            }
        } else {
            if (length != before) {
                addRun(length, 0);
                --count;
            }
            addRun(kLastAgain, count - 3);
        }
        before = length;
    }
}

void DeflateWriter::addRun(unsigned int symbol, unsigned int count)
{
    m_runs[m_runCount++] = {static_cast<std::uint8_t>(symbol), static_cast<std::uint8_t>(count)};
    ++m_runCounts[symbol];
}

/// Bits behind the words of lengths and distances, the same in each code.
unsigned int DeflateWriter::extraBits() const
{
    unsigned int bits = 0;
    for (unsigned int code = 8; code < 28; ++code) {
        bits += m_literalCounts[kFirstLength + code] * (code / 4 - 1);
    }
    for (unsigned int code = 4; code < kDistances; ++code) {
        bits += m_distanceCounts[code] * (code / 2 - 1);
    }
    return bits;
}

unsigned int DeflateWriter::bitsIn(const HuffmanCode& literals, const HuffmanCode& distances) const
{
    unsigned int bits = 0;
    for (unsigned int symbol = 0; symbol < kLiterals; ++symbol) {
        bits += m_literalCounts[symbol] * literals[symbol].m_length;
    }
    for (unsigned int symbol = 0; symbol < kDistances; ++symbol) {
        bits += m_distanceCounts[symbol] * distances[symbol].m_length;
    }
    return bits;
}

void DeflateWriter::putLengths(unsigned int runLengths)
{
    put(m_literals.used() - 257, 5);
    put(m_distances.used() - 1, 5);
    put(runLengths - 4, 4);
    for (unsigned int i = 0; i < runLengths; ++i) {
        put(m_runWords[kRunOrder[i]].m_length, 3);
    }
    for (unsigned int i = 0; i < m_runCount; ++i) {
        const HuffmanCode::Word word = m_runWords[m_runs[i].m_symbol];
        put(word.m_bits | static_cast<std::uint32_t>(m_runs[i].m_count) << word.m_length,
            word.m_length + runExtra(m_runs[i].m_symbol));
    }
}

void DeflateWriter::putSymbols(const HuffmanCode& literals, const HuffmanCode& distances)
{
    for (unsigned int byte = 0; byte < kLengths; ++byte) {
        m_firstBits[byte] = {literals[byte].m_bits, literals[byte].m_length};
    }
    for (unsigned int over = 0; over < m_lengthCodes.size(); ++over) {
        const HuffmanCode::Word word = literals[kFirstLength + m_lengthCodes[over]];
        const unsigned int extra = lengthExtra(over);
        const std::uint32_t above = over & ((1U << extra) - 1);
        m_firstBits[kLengths + over] = {word.m_bits | above << word.m_length,
                                        word.m_length + extra};
    }
    for (unsigned int code = 0; code < kDistances; ++code) {
        const HuffmanCode::Word word = distances[code];
        const unsigned int extra = code < 4 ? 0 : code / 2 - 1;
        m_distanceBits[code] = {word.m_bits, word.m_length,
                                static_cast<std::uint16_t>((1U << extra) - 1),
                                word.m_length + extra};
    }
    // The same steps for literals and matches, since nothing tells which comes next. A copy of the
    // stream, since the bytes that it writes could be its own members otherwise.
    BitStream stream = m_bits;
    for (unsigned int i = 0; i < m_symbolCount; ++i) {
        const std::uint32_t symbol = m_symbols[i];
        const Bits first = m_firstBits[symbol & ((1U << kIndexBits) - 1)];
        const DistanceBits distance =
            m_distanceBits[symbol >> kIndexBits & ((1U << kCodeBits) - 1)];
        const std::uint64_t above = symbol >> (kIndexBits + kCodeBits) & distance.m_mask;
        stream.put(first.m_bits | (distance.m_bits | above << distance.m_length) << first.m_count,
                   first.m_count + distance.m_count);
    }
    m_bits = stream;
    put(literals[kEndOfBlock].m_bits, literals[kEndOfBlock].m_length);
}

void DeflateWriter::putStored(unsigned int end)
{
    padToByte();
    const unsigned int size = end - m_blockStart;
    put(size | (~size & 0xFFFFU) << 16, 32);
    std::memcpy(m_bits.m_next, m_image + m_blockStart, size);
    m_bits.m_next += size;
}

void DeflateWriter::padToByte()
{
    if (m_bits.m_pendingCount != 0) {
        put(0, 8 - m_bits.m_pendingCount);
    }
}

void DeflateWriter::finish(std::uint32_t tail)
{
    padToByte();
    put(__builtin_bswap32(tail), 32);
}

} // namespace Tracewell
