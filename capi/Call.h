// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "tracewell.h"

#include "runs/OpenRun.h"
#include "search/NamedSignals.h"
#include "text/Failure.h"

#include "QsimException.h"

#include <exception>
#include <new>
#include <string>
#include <string_view>

namespace tracewell {

/// A text of the library as somebody reads it who calls it from C: one line, without harm in it,
/// and with no word of options that only the command line has.
std::string forCaller(std::string_view text);
/// Where a path of the caller leads. It is a file's: "-" has no other meaning.
std::string fileOf(const char* path);

/// Keeps the text for tracewell_error(), as forCaller(), or as much of it as there is memory for.
tracewell_status fail(tracewell_status status, std::string_view text) noexcept;

/// Does the work of a call: nothing that is thrown leaves it.
template <class Work> tracewell_status call(const Work& work) noexcept
{
    try {
        return work();
    } catch (const UnknownName& e) {
        return fail(TRACEWELL_NAME, e.text);
    } catch (const SignalNameFailure& e) {
        return fail(TRACEWELL_NAME, e.what());
    } catch (const Failure& e) {
        constexpr int kWrongUsage = 2;
        return fail(e.exitCode() == kWrongUsage ? TRACEWELL_USAGE : TRACEWELL_FILE, e.what());
    } catch (const Qsim::Exception& e) {
        return fail(TRACEWELL_FILE, e.what());
    } catch (const std::bad_alloc&) {
        return fail(TRACEWELL_MEMORY, "the memory does not suffice");
    } catch (const std::exception& e) {
        return fail(TRACEWELL_FILE, e.what());
    } catch (...) {
        return fail(TRACEWELL_FILE, "something failed that has no text");
    }
}

} // namespace tracewell
