// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

std::string countedText(const std::string& number, const char* word, const char* plural);

/// As "1 event" or "2 events". `plural` where an s behind the word does not make it.
template <class Integer>
std::string counted(Integer count, const char* word, const char* plural = nullptr)
{
    return countedText(std::to_string(count), word, plural);
}

} // namespace tracewell
