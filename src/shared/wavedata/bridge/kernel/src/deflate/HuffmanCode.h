// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <array>
#include <cstdint>

namespace Tracewell {

/// A code of a deflate block: how many bits a symbol takes and which, lowest bit first.
///
/// Many codes of equal cost fit the same frequencies. This one is zlib's: the heap that pairs the
/// rarest symbols breaks ties by the depth of a subtree, and lengths above the limit are taken
/// back along the rarest leaves, so that a block gets the very bits that zlib would give it.
/// Method: D. A. Huffman 1952; canonical codes after RFC 1951, 3.2.2.
class HuffmanCode
{
public:
    static constexpr unsigned int kMostSymbols = 288;
    static constexpr unsigned int kLongest = 15;

    /// Makes the code for the first `symbols` frequencies, at most kMostSymbols and each below
    /// 2^15 in sum, with no length above `longest`. A decoder wants two symbols at the least, so
    /// unused ones come in where fewer are used.
    void build(const std::uint16_t* frequencies, unsigned int symbols, unsigned int longest);
    /// Takes lengths as they are, for the code that every decoder knows.
    void assign(const std::uint8_t* lengths, unsigned int symbols);

    struct Word
    {
        std::uint16_t m_bits = 0;
        std::uint16_t m_length = 0;
    };
    /// Length 0 for a symbol that is not used.
    Word operator[](unsigned int symbol) const { return m_words[symbol]; }
    /// The number of symbols up to the last that has a word.
    unsigned int used() const { return m_used; }

private:
    void join(unsigned int symbols, unsigned int leaves);
    void measure(unsigned int symbols, unsigned int longest);
    void shorten(unsigned int tooLong, unsigned int symbols, unsigned int longest);
    void number();

    std::array<Word, kMostSymbols> m_words;
    unsigned int m_used = 0;

    /// Room for the tree while it is built. Symbols are nodes, and pairs are the nodes from the
    /// count of symbols on. m_order has them as they were paired: the rare before the frequent,
    /// children before their parent, the root last.
    std::array<std::uint32_t, kMostSymbols + 1> m_heap;
    std::array<std::uint16_t, 2 * kMostSymbols> m_order;
    std::array<std::uint16_t, 2 * kMostSymbols> m_parents;
    std::array<std::uint8_t, 2 * kMostSymbols> m_depths;
    unsigned int m_nodes = 0;
    std::array<std::uint16_t, kLongest + 1> m_lengthCounts;
};

} // namespace Tracewell
