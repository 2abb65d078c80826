#include "wave/Shortfalls.h"

#include "text/Message.h"

#include <fmt/format.h>

namespace tracewell {

bool tellShortfalls(const std::string& path, const Shortfalls& source)
{
    const std::vector<std::string> shortfalls = source.shortfalls();
    for (const std::vector<std::string>& lines : {source.notices(), shortfalls}) {
        for (const std::string& line : lines) {
            tell(fmt::format("{}: {}", path, line));
        }
    }
    return !shortfalls.empty();
}

} // namespace tracewell
