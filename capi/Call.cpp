// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>

namespace tracewell {

namespace {

/// What every thread has room for.
constexpr std::size_t kSureRoom = 256;

/// A thread's last failure.
struct LastError
{
    std::string text;
    char cut[kSureRoom] = {};
    bool isCut = false;
};
thread_local LastError s_error;

} // namespace

tracewell_status fail(tracewell_status status, std::string_view text) noexcept
{
    try {
        s_error.text.assign(text);
        s_error.isCut = false;
    } catch (const std::exception&) {
        const std::size_t kept = std::min(text.size(), kSureRoom - 1);
        *std::copy_n(text.data(), kept, s_error.cut) = '\0';
        s_error.isCut = true;
    }
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
    return tracewell::s_error.isCut ? tracewell::s_error.cut : tracewell::s_error.text.c_str();
}

} // extern "C"
