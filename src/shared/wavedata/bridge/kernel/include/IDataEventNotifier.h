// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// A viewer's wish to be told of new data; kept by WdbAddressBTreeManager for its owner.
class TRACEWELL_API IDataEventNotifier
{
public:
    virtual ~IDataEventNotifier() = default;
};

} // namespace Tracewell
