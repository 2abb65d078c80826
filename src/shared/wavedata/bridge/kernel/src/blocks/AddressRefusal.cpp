// SPDX-License-Identifier: BSD-3-Clause

#include "AddressRefusal.h"

#include <iostream>
#include <string>

namespace Tracewell {

void refuseAddress(unsigned long long& count, long long address)
{
    if (count++ != 0) {
        return;
    }
    std::cerr
        << "tracewell: a change at address " + std::to_string(address) +
               " is left out, since an event database has no place for it: addresses begin at 0 "
               "and end 4294967295 behind the start of their bucket; others like it are left out "
               "without a word\n"
        << std::flush;
}

} // namespace Tracewell
