// SPDX-License-Identifier: BSD-3-Clause

#include "wave/Shortfalls.h"

#include "text/Message.h"

#include <fmt/format.h>

namespace tracewell {

bool tellShortfalls(const std::string& path, const Shortfalls& source, const std::string& ending)
{
    const std::vector<std::string> shortfalls = source.shortfalls();
    for (const std::string& line : source.notices()) {
        tell(fmt::format("{}: {}", path, line));
    }
    for (const std::string& line : shortfalls) {
        tell(fmt::format("{}: {}{}", path, line, &line == &shortfalls.back() ? ending : ""));
    }
    return !shortfalls.empty();
}

} // namespace tracewell
