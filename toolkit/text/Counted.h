// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// As "1 event" or "2 events". `plural` where an s behind the word does not make it.
std::string counted(unsigned long long count, const char* word, const char* plural = nullptr);

} // namespace tracewell
