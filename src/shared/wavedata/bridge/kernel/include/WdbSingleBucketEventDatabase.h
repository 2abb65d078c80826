#pragma once

#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

namespace Tracewell {

/// All events of a run in one block list (type 1000). It can skip nothing on reading.
class TRACEWELL_API WdbSingleBucketEventDatabase : public WdbIEventBlockDatabase
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;

    WdbSingleBucketEventDatabase(int typeId, WdbFileManager& fileManager);
    ~WdbSingleBucketEventDatabase() override;

    // The operations of WdbIEventBlockDatabase follow, see there.
};

} // namespace Tracewell
