// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <cstdint>
#include <vector>

namespace tracewell {

/// The handles that the values of an object go to. Variables of one object but of other widths have
/// values of their own in an FST.
struct FstHandles
{
    struct Handle
    {
        std::uint32_t number = 0;
        std::uint32_t width = 1;
    };
    /// By object.
    std::vector<std::vector<Handle>> ofObject;
};

/// Declares everything to a writer of FST, the context that fstWriterCreate gives.
FstHandles declareInFst(void* fst, const Declarations& declarations);

} // namespace tracewell
