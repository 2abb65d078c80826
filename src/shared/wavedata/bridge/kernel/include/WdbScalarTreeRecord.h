#pragma once

#include "TracewellExport.h"

namespace Tracewell {

/// A leaf of a scalar tree: up to 2,048 times and bytes.
class TRACEWELL_API WdbScalarTreeRecord
{
public:
    static constexpr unsigned int kCapacity = 2048;
};

} // namespace Tracewell
