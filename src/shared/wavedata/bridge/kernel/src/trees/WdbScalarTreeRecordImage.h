// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbScalarTreeRecord.h"
#include "WdbTimeByteValueTemplate.h"

#include <cstddef>
#include <type_traits>

namespace Tracewell {

/// A record as it is stored: one block. Left uninitialised, since most of it is read or copied.
struct WdbScalarTreeRecordImage
{
    long long indexLength;
    long long largestDiff;
    unsigned int numberOfValues;
    unsigned int padding;
    WdbTimeByteValueTemplate<WdbScalarTreeRecord::kCapacity> pairs;
    bool modified;
    unsigned char tail[7];

    /// Unused entries and padding are zero.
    void assign(const WdbScalarTreeRecord& record);
};

static_assert(std::is_trivially_copyable_v<WdbScalarTreeRecordImage>);
static_assert(std::is_trivially_default_constructible_v<WdbScalarTreeRecordImage>);
static_assert(sizeof(WdbScalarTreeRecordImage) == 18464);
static_assert(offsetof(WdbScalarTreeRecordImage, indexLength) == 0);
static_assert(offsetof(WdbScalarTreeRecordImage, largestDiff) == 8);
static_assert(offsetof(WdbScalarTreeRecordImage, numberOfValues) == 16);
static_assert(offsetof(WdbScalarTreeRecordImage, pairs.times) == 24);
static_assert(offsetof(WdbScalarTreeRecordImage, pairs.values) == 16408);
static_assert(offsetof(WdbScalarTreeRecordImage, modified) == 18456);

} // namespace Tracewell
