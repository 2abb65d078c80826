// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

namespace tracewell {

namespace {

thread_local std::string s_error;

} // namespace

tracewell_status fail(tracewell_status status, const std::string& text)
{
    s_error = text;
    return status;
}

} // namespace tracewell

extern "C" {

const char* tracewell_version(void)
{
    return TRACEWELL_VERSION;
}

int tracewell_version_number(void)
{
    return TRACEWELL_VERSION_NUMBER;
}

const char* tracewell_error(void)
{
    return tracewell::s_error.c_str();
}

} // extern "C"
