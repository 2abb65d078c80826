// SPDX-License-Identifier: BSD-3-Clause

#include "text/Counted.h"

namespace tracewell {

std::string countedText(const std::string& number, const char* word, const char* plural)
{
    if (number == "1") {
        return number + " " + word;
    }
    return plural ? number + " " + plural : number + " " + word + "s";
}

} // namespace tracewell
