// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

class IEventSource;

/// Takes in the value changes that a WdbMultiBtreeIterator replays.
class TRACEWELL_API IEventTarget
{
public:
    virtual ~IEventTarget() = default;
    /// A byte took `value` at `time`; for a tree of one bit, the bit at its place in the byte.
    /// `mask` has the bits that the change is about.
    virtual void valueChanged(IEventSource* source, long long time, unsigned long long address,
                              unsigned char value, unsigned char mask) = 0;
    /// For the target's own use; the library never calls it.
    virtual void update() {}
};

} // namespace Tracewell
