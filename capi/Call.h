// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "tracewell.h"

#include "runs/OpenRun.h"
#include "text/Failure.h"

#include "QsimException.h"

#include <exception>
#include <new>
#include <string>

namespace tracewell {

/// Keeps the text for tracewell_error().
tracewell_status fail(tracewell_status status, const std::string& text);

/// Does the work of a call: nothing that is thrown leaves it.
template <class Work> tracewell_status call(const Work& work) noexcept
{
    try {
        try {
            return work();
        } catch (const UnknownName& e) {
            return fail(TRACEWELL_NAME, e.text);
        } catch (const Failure& e) {
            constexpr int kWrongUsage = 2;
            return fail(e.exitCode() == kWrongUsage ? TRACEWELL_USAGE : TRACEWELL_FILE, e.what());
        } catch (const Qsim::Exception& e) {
            return fail(TRACEWELL_FILE, e.getMessage());
        } catch (const std::bad_alloc&) {
            return fail(TRACEWELL_MEMORY, "the memory does not suffice");
        } catch (const std::exception& e) {
            return fail(TRACEWELL_FILE, e.what());
        }
    } catch (...) {
        // Not even the text has room.
        return TRACEWELL_MEMORY;
    }
}

} // namespace tracewell
