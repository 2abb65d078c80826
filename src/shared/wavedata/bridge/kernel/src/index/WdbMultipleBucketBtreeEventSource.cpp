// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMultipleBucketBtreeEventSource.h"

#include "WdbMultipleBucketBtreeDatabase.h"

namespace Tracewell {

long long WdbMultipleBucketBtreeEventSource::getLatestTime() const
{
    return m_database->getLatestTime();
}

std::shared_ptr<WdbIEventSource::Iterator> WdbMultipleBucketBtreeEventSource::getEventIterator()
{
    return std::make_shared<InvalidIterator>();
}

std::shared_ptr<WdbIEventSource::Iterator>
WdbMultipleBucketBtreeEventSource::getValueIterator(long long address, long long step)
{
    return m_database->makeValueIterator(address, step);
}

} // namespace Tracewell
