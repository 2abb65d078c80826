// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEventBlockDatabaseFactory.h"

#include "WdbMultipleBucketBtreeDatabase.h"
#include "WdbMultipleBucketEventDatabase.h"
#include "WdbSingleBucketEventDatabase.h"

namespace Tracewell {

WdbEventBlockDatabaseFactory& WdbEventBlockDatabaseFactory::getInstance()
{
    static WdbEventBlockDatabaseFactory instance;
    return instance;
}

WdbIEventBlockDatabase* WdbEventBlockDatabaseFactory::create(int typeId,
                                                             WdbFileManager& fileManager)
{
    switch (typeId) {
    case kSingleBucket:
        return new WdbSingleBucketEventDatabase(typeId, fileManager);
    case kMultipleBucket:
        return new WdbMultipleBucketEventDatabase(typeId, fileManager);
    case kMultipleBucketBtree:
        return new WdbMultipleBucketBtreeDatabase(typeId, fileManager);
    default:
        return nullptr;
    }
}

} // namespace Tracewell
