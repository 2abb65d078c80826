// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Value.h"

namespace Tracewell {

/// What every query of a transition database answers. ValueNone says that there is none.
struct Transition
{
    long long time = 0;
    unsigned int reserved = 0;
    Value value;
};

} // namespace Tracewell
