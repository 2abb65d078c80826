// SPDX-License-Identifier: BSD-3-Clause

#include "survey/TransitionNode.h"

#include <cstring>

namespace tracewell {

namespace {

std::uint32_t loadWord(const unsigned char* bytes)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Bits of a packed value; 0 for the kinds that take a word, or nothing.
unsigned int packedBits(unsigned int kind)
{
    return kind == 10 ? 1 : kind == 11 ? 2 : kind == 12 ? 4 : 0;
}

} // namespace

long long loadHalves(const unsigned char* bytes)
{
    return static_cast<long long>(std::uint64_t{loadWord(bytes)} << 32 | loadWord(bytes + 4));
}

TransitionNode TransitionNode::read(const unsigned char* record)
{
    TransitionNode node;
    node.firstTime = loadHalves(record);
    node.lastTime = loadHalves(record + 8);
    node.largestGap = loadHalves(record + 16);
    node.count = static_cast<int>(loadWord(record + 24));
    node.offset = loadHalves(record + 28);
    node.children = loadWord(record + 36);
    node.flags = loadWord(record + 40);
    return node;
}

bool TransitionNode::hasValues() const
{
    if (alternates()) {
        return true;
    }
    if (period() != 0) {
        return false;
    }
    const bool takesWord = kind() == 1 || kind() == 2;
    const bool takesWideWord = kind() == 4 || kind() == 6;
    return packedBits(kind()) != 0 || takesWord || (takesWideWord && isWide());
}

long long TransitionNode::blockBytes() const
{
    if (period() != 0) {
        return period() == 1 ? 0 : 4LL * period();
    }
    long long slots = count;
    if (const long long bits = packedBits(kind())) {
        slots += count * bits / (8LL * slotBytes()) + 1;
    } else if (kind() == 1 || kind() == 2 || ((kind() == 4 || kind() == 6) && isWide())) {
        slots += count;
    }
    return slots * slotBytes();
}

int TransitionNode::storedGaps() const
{
    if (period() == 0) {
        return count;
    }
    return period() == 1 ? 0 : static_cast<int>(period());
}

} // namespace tracewell
