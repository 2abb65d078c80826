// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"

#include <cstring>

namespace Tracewell {

/// Runs a transfer of the manager's. An exception that comes out of it breaks the storage, and in a
/// broken one there is no transfer: the answer is then a 0 of the action's type.
template <class Action>
auto guardTransfer(const WdbIBlockManager& manager, const char* literal, Action&& action)
    -> decltype(action())
{
    if (!manager.isBroken()) {
        try {
            return action();
        } catch (...) {
            manager.breakDown(literal);
        }
    }
    return decltype(action())();
}

/// The same for an action that fills `out`, which gets zeros in its place.
template <class Action>
void guardRead(const WdbIBlockManager& manager, const char* literal, char* out,
               unsigned long long size, Action&& action)
{
    const bool isDone = guardTransfer(manager, literal, [&] {
        action();
        return true;
    });
    if (!isDone) {
        std::memset(out, 0, size);
    }
}

} // namespace Tracewell
