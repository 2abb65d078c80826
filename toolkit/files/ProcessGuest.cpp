// SPDX-License-Identifier: BSD-3-Clause

#include "files/ProcessGuest.h"

#include <atomic>

namespace tracewell {

namespace {

/// Set by whatever thread comes first; nothing else depends on it.
std::atomic<bool> s_isGuest{false};

} // namespace

void becomeGuest()
{
    s_isGuest = true;
}

bool isGuest()
{
    return s_isGuest;
}

} // namespace tracewell
