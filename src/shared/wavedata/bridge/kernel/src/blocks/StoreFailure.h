// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "QsimException.h"
#include "WdbIBlockManager.h"

#include <exception>
#include <string>

namespace Tracewell {

/// Runs the compressing and storing of a block of class `blockClass`. An exception that comes out
/// of it means that events are about to be lost, so it breaks the storage; the answer is then a 0
/// of the action's type.
template <class Action>
auto guardStoring(const WdbIBlockManager& manager, const char* blockClass, Action&& action)
    -> decltype(action())
{
    try {
        return action();
    } catch (const std::exception&) {
        manager.breakDown("WDB FATAL ERROR: failed to add event block for the following reason: ");
    } catch (const Qsim::Exception&) {
        manager.breakDown(
            "WDB FATAL ERROR: unspecified exception thrown for the following reason: ");
    } catch (...) {
        manager.breakDown(std::string("WDB FATAL ERROR: caught unspecified exception in ") +
                          blockClass + "::addBlock for the following reason: ");
    }
    return decltype(action())();
}

} // namespace Tracewell
