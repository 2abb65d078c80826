// SPDX-License-Identifier: BSD-3-Clause

#include "Call.h"

#include "text/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

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

/// What is said to users of the command line, and what takes its place.
constexpr std::pair<std::string_view, std::string_view> kWords[] = {
    {", or ask find() for all", ""},
    {"; --beyond shows it", "; TRACEWELL_BEYOND shows it"},
    {", or read on with --lenient", ""},
    {", or leave the block out with --lenient", ""},
    {", or leave what is damaged out with --lenient", ""},
    {"give --dir the one", "give the one"},
    {", see --dir", ""},
    {"choose another --snapshot or --dir", "choose another snapshot or directory"},
    {"choose another --snapshot", "choose another snapshot"},
    {"dump fewer, or leave --store transitions out", "record fewer, or choose another store"},
    {"leave --store transitions out", "choose another store"},
    {"say with --on when to", "say with `on` when to"},
    {"implications are asked for with --within; nothing is known", "nothing is known"},
};

} // namespace

std::string forCaller(std::string_view text)
{
    std::string line = printable(text);
    for (const auto& [said, instead] : kWords) {
        if (const std::size_t at = line.find(said); at != std::string::npos) {
            line.replace(at, said.size(), instead);
        }
    }
    // Behind it stands the path, up to a quote.
    constexpr std::string_view kList = "list them with `tracewell signals ";
    if (const std::size_t at = line.find(kList); at != std::string::npos) {
        const std::size_t end = line.find('`', at + kList.size());
        line.replace(at, end == std::string::npos ? end : end + 1 - at,
                     "tracewell_run_signal() tells all");
    }
    return line;
}

std::string fileOf(const char* path)
{
    return path == std::string_view("-") ? "./-" : path;
}

tracewell_status fail(tracewell_status status, std::string_view text) noexcept
{
    try {
        s_error.text = forCaller(text);
        s_error.isCut = false;
    } catch (const std::exception&) {
        const std::size_t kept = std::min(text.size(), kSureRoom - 1);
        *std::transform(text.data(), text.data() + kept, s_error.cut,
                        [](char c) { return c >= ' ' && c <= '~' ? c : '?'; }) = '\0';
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
