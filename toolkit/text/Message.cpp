// SPDX-License-Identifier: BSD-3-Clause

#include "text/Message.h"

#include "text/Utf8.h"

#include <iostream>

namespace tracewell {

void tell(std::string_view line)
{
    std::cerr << "tracewell: " + printable(line) + "\n" << std::flush;
}

std::string quotation(std::string_view text)
{
    constexpr std::size_t kMostCharacters = 100;
    return "\"" + cutEnd(printable(text), kMostCharacters) + "\"";
}

} // namespace tracewell
