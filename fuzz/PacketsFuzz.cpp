// SPDX-License-Identifier: BSD-3-Clause

// A ring of events whose producer is hostile: the indices and packets in the shared memory.

#include "Harness.h"

#include "PacketWalk.h"
#include "WdbCircularBuffer.h"
#include "WdbEventBlock.h"

#include <cstring>
#include <vector>

using namespace Tracewell;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr unsigned int kLongestValue = 512;
    std::vector<std::uint64_t> memory(size / sizeof(std::uint64_t));
    const auto nominalSize = static_cast<unsigned int>(memory.size() * sizeof(std::uint64_t));
    if (nominalSize > 0) {
        std::memcpy(memory.data(), data, nominalSize);
    }
    WdbCircularBuffer ring(reinterpret_cast<char*>(memory.data()), nominalSize, false);
    std::vector<char> taken(nominalSize);
    unsigned int count = 0;
    if (!ring.getPackets(taken.data(), count)) {
        return 0;
    }

    // No larger than what was taken, so that a sanitizer sees a step outside.
    const std::vector<char> batch(taken.begin(), taken.begin() + count);
    PacketWalk walk(batch.data(), count, kLongestValue);
    WdbEventBlock block(nominalSize + WdbEventBlock::kHeaderSize + 64 + kLongestValue, 0);
    for (auto kind = walk.next(); kind != PacketWalk::Kind::End; kind = walk.next()) {
        if (kind == PacketWalk::Kind::Damaged) {
            FUZZ_REQUIRE(!walk.describeDamage().empty());
            break;
        }
        if (kind == PacketWalk::Kind::Event) {
            FUZZ_REQUIRE(walk.getEvent().getValuelength() <= kLongestValue);
            FUZZ_REQUIRE(block.canAdd(walk.getEvent().getValuelength()));
            block.addEvent(&walk.getEvent());
        }
    }
    block.filterOutRepeatedValue();
    return 0;
}
