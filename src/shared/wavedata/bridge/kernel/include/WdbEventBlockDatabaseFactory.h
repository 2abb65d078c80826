// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbIEventBlockDatabase.h"

namespace Tracewell {

/// Makes event databases by their type number.
class TRACEWELL_API WdbEventBlockDatabaseFactory
{
public:
    static constexpr int kSingleBucket = 1000;
    static constexpr int kMultipleBucket = 1001;
    static constexpr int kMultipleBucketBtree = 1002;

    static WdbEventBlockDatabaseFactory& getInstance();

    /// A new database on `fileManager`, owned by the caller; null for a type that is not known.
    WdbIEventBlockDatabase* create(int typeId, WdbFileManager& fileManager);

private:
    WdbEventBlockDatabaseFactory() = default;
};

} // namespace Tracewell
