// SPDX-License-Identifier: BSD-3-Clause

#include "text/NearestWord.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace tracewell {

namespace {

/// Words are compared in full up to here; who mistypes longer ones gets no suggestion.
constexpr std::size_t kLongestWord = 200;

} // namespace

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

std::size_t editDistance(const std::string& a, const std::string& b, std::size_t limit)
{
    if (a.size() > kLongestWord || b.size() > kLongestWord ||
        std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > limit) {
        return limit + 1;
    }
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, replaced}));
        }
    }
    return row[b.size()];
}

std::size_t mostDifferences(const std::string& wanted)
{
    return wanted.size() < 2 ? 0 : std::max<std::size_t>(1, wanted.size() / 3);
}

std::string nearestWord(std::string_view word, const std::vector<std::string>& words)
{
    const std::string wanted = lowerCase(word);
    std::size_t least = mostDifferences(wanted) + 1;
    std::string nearest;
    for (const std::string& candidate : words) {
        const bool isStart = wanted.size() > 1 && candidate.compare(0, wanted.size(), wanted) == 0;
        const std::size_t distance = isStart ? 0 : editDistance(candidate, wanted, least);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace tracewell
