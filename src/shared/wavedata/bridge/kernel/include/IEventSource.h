// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <vector>

namespace Tracewell {

class IEventTarget;

/// Whatever hands value changes of address ranges to listeners.
class TRACEWELL_API IEventSource
{
public:
    /// Addresses that a listener wants to hear of.
    struct ListenerRange
    {
        unsigned long long m_start;
        unsigned long long m_length;
    };

    virtual ~IEventSource() = default;
    virtual void registerListener(IEventTarget* target,
                                  const std::vector<ListenerRange>& ranges) = 0;
    virtual void unregisterListener(IEventTarget* target,
                                    const std::vector<ListenerRange>& ranges) = 0;
};

} // namespace Tracewell
