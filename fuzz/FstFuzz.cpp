// SPDX-License-Identifier: BSD-3-Clause

// An FST file, strictly and leniently: names, blocks and the run that they tell.

#include "Harness.h"
#include "MemoryFile.h"

#include "changes/ChangeStream.h"
#include "text/Failure.h"

#include <string>

using namespace tracewell;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // What is no FST is another harness's.
    std::string bytes(reinterpret_cast<const char*>(data), size);
    if (size < 10 || (bytes[0] != '\0' && bytes[0] != '\xfe')) {
        return 0;
    }
    const MemoryFile file(data, size);
    for (const bool isLenient : {false, true}) {
        try {
            const auto run = ChangeStream::openRun(file.path(), 0, isLenient);
            std::string text;
            long long last = -1;
            for (int steps = 0; steps < 10000 && run->next(); ++steps) {
                FUZZ_REQUIRE(run->time() > last);
                last = run->time();
                text.clear();
                for (const std::uint32_t object : run->changed()) {
                    run->appendChange(text, object);
                }
            }
            run->shortfalls();
            run->notices();
        } catch (const Failure&) {
        }
    }
    return 0;
}
