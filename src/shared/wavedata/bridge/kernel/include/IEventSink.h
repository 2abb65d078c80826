// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <mutex>

namespace Tracewell {

class WdbLiveEvent;

/// Where a live channel's events go.
class TRACEWELL_API IEventSink
{
public:
    virtual ~IEventSink();
    virtual void addEventDirect(const WdbLiveEvent* event) = 0;
    virtual std::recursive_mutex& getReadWriteMutex() const = 0;
};

} // namespace Tracewell
