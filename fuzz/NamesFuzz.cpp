// SPDX-License-Identifier: BSD-3-Clause

// The name table of a recording: what is read is written so that the same is read again.

#include "Harness.h"

#include "formats/vcd/DeclarationText.h"
#include "text/Failure.h"

#include <string>
#include <string_view>

using namespace tracewell;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Declarations names;
    try {
        names = parseDeclarations({reinterpret_cast<const char*>(data), size});
    } catch (const Failure&) {
        return 0;
    }
    for (std::size_t i = 0; i < names.variables.size(); ++i) {
        FUZZ_REQUIRE(names.variables[i].object < names.objects.size());
        names.fullName(i);
    }
    const std::string written = writeDeclarations(names);
    const Declarations again = parseDeclarations(written);
    FUZZ_REQUIRE(writeDeclarations(again) == written);
    FUZZ_REQUIRE(again.variables.size() == names.variables.size());
    FUZZ_REQUIRE(again.objects.size() == names.objects.size());
    return 0;
}
