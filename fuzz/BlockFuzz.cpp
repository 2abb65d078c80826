// SPDX-License-Identifier: BSD-3-Clause

// The image of an event block, as it comes out of its stream: records, analysis, the filter.

#include "Harness.h"

#include "WdbEventBlock.h"
#include "WdbMemoryBlockManager.h"

#include <zlib.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace Tracewell;

namespace {

constexpr unsigned int kBlockSize = 10240;

/// A block of the image, stored as a stream that is sound.
WdbEventBlock load(const std::uint8_t* data, std::size_t size)
{
    std::vector<char> stream(compressBound(size));
    uLongf streamSize = stream.size();
    compress2(reinterpret_cast<Bytef*>(stream.data()), &streamSize, data, size, 1);
    WdbMemoryBlockManager storage;
    const long long handle = storage.addBlock(stream.data(), streamSize);
    WdbEventBlock block(kBlockSize, 0x1000);
    block.loadBlock(handle, static_cast<unsigned int>(streamSize), storage);
    storage.freeBlock(handle, streamSize);
    return block;
}

std::string recordsOf(WdbEventBlock& block)
{
    std::string records;
    for (WdbEventIterator it = block.getEventIterator(); it.hasNext();) {
        const WdbEvent& event = *it.next();
        records += std::to_string(event.getTime()) + '@' + std::to_string(event.getStartAddress());
        records.append(reinterpret_cast<const char*>(event.getValue()), event.getValuelength());
    }
    return records;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kBlockSize) {
        return 0;
    }
    WdbEventBlock block = load(data, size);
    const std::string records = recordsOf(block);
    WdbEventBlock copy = block;
    FUZZ_REQUIRE(recordsOf(copy) == records);
    try {
        long long difference = 0;
        unsigned char key[WdbEventBlock::kKeySize];
        copy.getLargestDiffAndKey(0x1000, difference, key);
        FUZZ_REQUIRE(difference == copy.getLargestDiff(0x1000));
    } catch (const std::out_of_range&) {
        // Such an event is not of this bucket.
    }
    copy.filterOutRepeatedValue();
    FUZZ_REQUIRE(copy.size() <= block.size() && copy.isEmpty() == block.isEmpty());
    const std::string filtered = recordsOf(copy);
    copy.fillHeader();
    WdbEventBlock again = load(reinterpret_cast<std::uint8_t*>(copy.getMemory()), kBlockSize);
    FUZZ_REQUIRE(recordsOf(again) == filtered);
    return 0;
}
