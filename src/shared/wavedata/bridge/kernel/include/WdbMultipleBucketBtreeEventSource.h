// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbIEventSource.h"

namespace Tracewell {

class WdbMultipleBucketBtreeDatabase;

/// The event source of a WdbMultipleBucketBtreeDatabase, which owns it.
class TRACEWELL_API WdbMultipleBucketBtreeEventSource : public WdbIEventSource
{
public:
    /// Stands for addresses without events: it is at its end from the start.
    class TRACEWELL_API InvalidIterator : public WdbIEventSource::Iterator
    {
    public:
        bool isEof() const override { return true; }
        InvalidIterator& operator++() override { return *this; }
        Value getValue() const override { return {}; }
        long long getTime() const override { return 0; }
        long long getEndTime() const override { return 0; }
    };

    explicit WdbMultipleBucketBtreeEventSource(WdbMultipleBucketBtreeDatabase& database)
        : m_database(&database)
    {}
    long long getLatestTime() const override;
    long long getFirstTime() const override { return 0; }
    std::shared_ptr<Iterator> getEventIterator() override;
    std::shared_ptr<Iterator> getValueIterator(long long address, long long step) override;

private:
    WdbMultipleBucketBtreeDatabase* m_database;
};

} // namespace Tracewell
