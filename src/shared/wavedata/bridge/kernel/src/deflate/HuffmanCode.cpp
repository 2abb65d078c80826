// SPDX-License-Identifier: BSD-3-Clause

#include "HuffmanCode.h"

#include <algorithm>

namespace Tracewell {

namespace {

/// A subtree in the heap: frequency above, then depth, then the number of its node.
constexpr unsigned int kNodeBits = 10;
constexpr unsigned int kDepthBits = 6;
constexpr std::uint32_t kDepthOne = 1U << kNodeBits;

std::uint32_t leafOf(unsigned int symbol, unsigned int frequency)
{
    return frequency << (kDepthBits + kNodeBits) | symbol;
}
unsigned int nodeOf(std::uint32_t entry)
{
    return entry & (kDepthOne - 1);
}
std::uint32_t depthOf(std::uint32_t entry)
{
    return entry & (((1U << kDepthBits) - 1) << kNodeBits);
}

/// The tree above `left` and `right`, as node `node`.
std::uint32_t joined(std::uint32_t left, std::uint32_t right, unsigned int node)
{
    const std::uint32_t frequency =
        (left >> (kDepthBits + kNodeBits)) + (right >> (kDepthBits + kNodeBits));
    const std::uint32_t depth = std::max(depthOf(left), depthOf(right)) + kDepthOne;
    return frequency << (kDepthBits + kNodeBits) | depth | node;
}

/// Rarer, or as rare and no deeper. Holds both ways between equals.
bool goesBefore(std::uint32_t left, std::uint32_t right)
{
    return left >> kNodeBits <= right >> kNodeBits;
}

/// Lets the entry at `at` sink in the heap of the entries 1 to `count`.
void sink(std::uint32_t* heap, unsigned int count, unsigned int at)
{
    const std::uint32_t entry = heap[at];
    unsigned int child = 2 * at;
    while (child < count) {
        child += goesBefore(heap[child + 1], heap[child]) ? 1 : 0;
        if (goesBefore(entry, heap[child])) {
            break;
        }
        heap[at] = heap[child];
        at = child;
        child *= 2;
    }
    if (child == count && !goesBefore(entry, heap[child])) {
        heap[at] = heap[child];
        at = child;
    }
    heap[at] = entry;
}

unsigned int reversed(unsigned int bits, unsigned int count)
{
    unsigned int result = bits;
    result = (result & 0x5555) << 1 | (result >> 1 & 0x5555);
    result = (result & 0x3333) << 2 | (result >> 2 & 0x3333);
    result = (result & 0x0F0F) << 4 | (result >> 4 & 0x0F0F);
    result = (result & 0x00FF) << 8 | (result >> 8 & 0x00FF);
    return result >> (16 - count);
}

} // namespace

void HuffmanCode::build(const std::uint16_t* frequencies, unsigned int symbols,
                        unsigned int longest)
{
    unsigned int leaves = 0;
    m_used = 0;
    for (unsigned int symbol = 0; symbol < symbols; ++symbol) {
        m_words[symbol].m_length = 0;
        if (frequencies[symbol] != 0) {
            m_heap[++leaves] = leafOf(symbol, frequencies[symbol]);
            m_used = symbol + 1;
        }
    }
    while (leaves < 2) {
        const unsigned int symbol = m_used < 3 ? m_used++ : 0;
        m_heap[++leaves] = leafOf(symbol, 1);
    }
    join(symbols, leaves);
    measure(symbols, longest);
    number();
}

void HuffmanCode::assign(const std::uint8_t* lengths, unsigned int symbols)
{
    m_used = symbols;
    m_lengthCounts.fill(0);
    for (unsigned int symbol = 0; symbol < symbols; ++symbol) {
        m_words[symbol].m_length = lengths[symbol];
        ++m_lengthCounts[lengths[symbol]];
    }
    number();
}

void HuffmanCode::join(unsigned int symbols, unsigned int leaves)
{
    std::uint32_t* const heap = m_heap.data();
    for (unsigned int at = leaves / 2; at >= 1; --at) {
        sink(heap, leaves, at);
    }
    m_nodes = 0;
    unsigned int node = symbols;
    while (leaves > 1) {
        const std::uint32_t rarest = heap[1];
        heap[1] = heap[leaves--];
        sink(heap, leaves, 1);
        const std::uint32_t second = heap[1];
        for (const std::uint32_t entry : {rarest, second}) {
            m_order[m_nodes++] = static_cast<std::uint16_t>(nodeOf(entry));
            m_parents[nodeOf(entry)] = static_cast<std::uint16_t>(node);
        }
        heap[1] = joined(rarest, second, node++);
        sink(heap, leaves, 1);
    }
    m_order[m_nodes++] = static_cast<std::uint16_t>(nodeOf(heap[1]));
}

void HuffmanCode::measure(unsigned int symbols, unsigned int longest)
{
    m_lengthCounts.fill(0);
    unsigned int tooLong = 0;
    m_depths[m_order[m_nodes - 1]] = 0;
    for (unsigned int i = m_nodes - 1; i-- > 0;) {
        const unsigned int node = m_order[i];
        unsigned int depth = m_depths[m_parents[node]] + 1U;
        if (depth > longest) {
            depth = longest;
            ++tooLong;
        }
        m_depths[node] = static_cast<std::uint8_t>(depth);
        if (node < symbols) {
            m_words[node].m_length = static_cast<std::uint16_t>(depth);
            ++m_lengthCounts[depth];
        }
    }
    if (tooLong != 0) {
        shorten(tooLong, symbols, longest);
    }
}

/// Makes room for the leaves that were cut off at `longest`: a leaf higher up goes one down and
/// takes one of them beside it, until the lengths are a code again. They are then dealt out anew,
/// the longest to the rarest.
void HuffmanCode::shorten(unsigned int tooLong, unsigned int symbols, unsigned int longest)
{
    for (int left = static_cast<int>(tooLong); left > 0; left -= 2) {
        unsigned int length = longest - 1;
        while (m_lengthCounts[length] == 0) {
            --length;
        }
        --m_lengthCounts[length];
        m_lengthCounts[length + 1] += 2;
        --m_lengthCounts[longest];
    }
    unsigned int next = 0;
    for (unsigned int length = longest; length != 0; --length) {
        for (unsigned int count = m_lengthCounts[length]; count != 0; ++next) {
            if (m_order[next] < symbols) {
                m_words[m_order[next]].m_length = static_cast<std::uint16_t>(length);
                --count;
            }
        }
    }
}

void HuffmanCode::number()
{
    std::array<std::uint16_t, kLongest + 1> next{};
    unsigned int code = 0;
    for (unsigned int length = 1; length <= kLongest; ++length) {
        code = (code + (length == 1 ? 0 : m_lengthCounts[length - 1])) << 1;
        next[length] = static_cast<std::uint16_t>(code);
    }
    for (unsigned int symbol = 0; symbol < m_used; ++symbol) {
        const unsigned int length = m_words[symbol].m_length;
        if (length != 0) {
            m_words[symbol].m_bits = static_cast<std::uint16_t>(reversed(next[length]++, length));
        }
    }
}

} // namespace Tracewell
