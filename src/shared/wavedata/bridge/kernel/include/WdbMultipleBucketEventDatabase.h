#pragma once

#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

namespace Tracewell {

/// Divides the address space into buckets with a block list each (type 1001), so that a reader of
/// few signals reads few blocks. Full blocks may be compressed and stored by helper threads, see
/// setStoreQueue; the file is the same, byte for byte.
class TRACEWELL_API WdbMultipleBucketEventDatabase : public WdbIEventBlockDatabase
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;

    WdbMultipleBucketEventDatabase(int typeId, WdbFileManager& fileManager);
    ~WdbMultipleBucketEventDatabase() override;

    // The operations of WdbIEventBlockDatabase follow, see there.
};

} // namespace Tracewell
