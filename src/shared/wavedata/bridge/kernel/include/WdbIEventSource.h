// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <memory>

namespace Tracewell {

/// The events of a database by address and time, for those types that have an index by time.
class TRACEWELL_API WdbIEventSource
{
public:
    /// One value that an iterator stands on.
    struct Value
    {
        long long m_time = 0;
        unsigned int m_length = 0;
        unsigned char m_byte = 0;
    };

    class TRACEWELL_API Iterator
    {
    public:
        virtual ~Iterator();
        virtual bool isEof() const = 0;
        virtual Iterator& operator++() = 0;
        virtual Value getValue() const = 0;
        virtual long long getTime() const = 0;
        /// The end of the time that the iterator's block covers.
        virtual long long getEndTime() const = 0;
    };

    virtual ~WdbIEventSource();
    virtual long long getLatestTime() const = 0;
    virtual long long getFirstTime() const = 0;
    virtual std::shared_ptr<Iterator> getEventIterator() = 0;
    /// Over the block that holds the address's state at time `step`.
    virtual std::shared_ptr<Iterator> getValueIterator(long long address, long long step) = 0;
};

} // namespace Tracewell
