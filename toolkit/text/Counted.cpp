// SPDX-License-Identifier: BSD-3-Clause

#include "text/Counted.h"

namespace tracewell {

std::string counted(unsigned long long count, const char* word, const char* plural)
{
    const std::string number = std::to_string(count) + " ";
    if (count == 1) {
        return number + word;
    }
    return plural ? number + plural : number + word + "s";
}

} // namespace tracewell
