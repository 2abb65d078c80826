// SPDX-License-Identifier: BSD-3-Clause

// Packed inputs. In whatever pieces the bytes are asked for, they are the same, and so is their
// end.

#include "Harness.h"
#include "MemoryFile.h"

#include "input/InputFile.h"
#include "text/Failure.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace tracewell;

namespace {

constexpr std::size_t kMost = 1 << 18;

struct Reading
{
    std::string text;
    std::string flaw;
    bool isDamaged = false;
};

Reading readAll(const std::string& path, std::size_t room)
{
    Reading reading;
    try {
        const auto source = openInput(path).source;
        std::vector<char> piece(room);
        std::size_t got = 1;
        while (got != 0 && reading.text.size() < kMost) {
            got = source->read(piece.data(), piece.size(), {});
            FUZZ_REQUIRE(got <= room);
            reading.text.append(piece.data(), got);
        }
        reading.flaw = source->flaw();
    } catch (const Failure&) {
        reading.isDamaged = true;
    }
    return reading;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const MemoryFile file(data, size);
    const Reading large = readAll(file.path(), 1 << 16);
    const Reading small = readAll(file.path(), 61);
    const std::size_t shared = std::min(large.text.size(), small.text.size());
    FUZZ_REQUIRE(large.text.compare(0, shared, small.text, 0, shared) == 0);
    if (std::max(large.text.size(), small.text.size()) < kMost) {
        // Of a piece that turns out to be damaged nothing comes.
        FUZZ_REQUIRE(large.isDamaged == small.isDamaged);
        FUZZ_REQUIRE(large.isDamaged || (large.text == small.text && large.flaw == small.flaw));
    }
    return 0;
}
