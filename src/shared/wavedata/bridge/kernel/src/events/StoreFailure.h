#pragma once

#include "FatalError.h"
#include "QsimException.h"

#include <exception>
#include <string>

namespace Tracewell {

/// Runs the compressing and storing of a block of class `blockClass`. An exception that comes out
/// of it means that events are about to be lost, so it ends the process.
template <class Action> auto guardStoring(const char* blockClass, Action&& action)
{
    try {
        return action();
    } catch (const std::exception&) {
        reportFatalError("WDB FATAL ERROR: failed to add event block for the following reason: ");
    } catch (const Qsim::Exception&) {
        reportFatalError(
            "WDB FATAL ERROR: unspecified exception thrown for the following reason: ");
    } catch (...) {
        reportFatalError(std::string("WDB FATAL ERROR: caught unspecified exception in ") +
                         blockClass + "::addBlock for the following reason: ");
    }
}

} // namespace Tracewell
