// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// A run of bytes of the data memory that changes as one. Of a WdbColumnWriter it may be of any
/// size; those of a WdbColumnReader are pieces of these, which lie within one aligned group of 8
/// bytes each.
struct WdbColumnField
{
    long long address = 0;
    /// How many bytes it has, from the address on.
    unsigned int size = 0;
    /// Each change counts, those of one time as well; of another field the last of a time is kept.
    bool isCounter = false;
};

} // namespace Tracewell
