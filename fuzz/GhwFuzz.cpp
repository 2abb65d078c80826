// SPDX-License-Identifier: BSD-3-Clause

// A GHW file: names, types, signals and the run that they tell.

#include "Harness.h"
#include "MemoryFile.h"

#include "changes/ChangeStream.h"
#include "text/Failure.h"

#include <string>

using namespace tracewell;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.rfind("GHDLwave\n", 0) != 0) {
        // What is none is another harness's.
        return 0;
    }
    const MemoryFile file(data, size);
    try {
        const auto run = ChangeStream::openRun(file.path(), 0, false);
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
    } catch (const Failure&) {
    }
    return 0;
}
