// SPDX-License-Identifier: BSD-3-Clause

#include "wave/NearestNames.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <utility>

namespace tracewell {

namespace {

constexpr std::size_t kMostNames = 3;
/// Names are compared in full up to here; who mistypes longer ones is told to list them.
constexpr std::size_t kLongestName = 200;

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

/// Insertions, deletions and replacements that turn one text into the other; more than `limit` may
/// come out as limit + 1.
std::size_t editDistance(const std::string& a, const std::string& b, std::size_t limit)
{
    if (a.size() > kLongestName || b.size() > kLongestName ||
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

/// How many letters may differ. Of a single one, another one tells nothing.
std::size_t mostDifferences(const std::string& wanted)
{
    return wanted.size() < 2 ? 0 : std::max<std::size_t>(1, wanted.size() / 3);
}

std::string withoutRange(const std::string& name)
{
    return name.back() == ']' ? name.substr(0, name.rfind('[')) : name;
}

bool endsIn(const std::string& name, const std::string& end)
{
    return name.size() > end.size() && name[name.size() - end.size() - 1] == '.' &&
           name.compare(name.size() - end.size(), end.size(), end) == 0;
}

std::string lastPart(const std::string& name)
{
    return name.substr(name.rfind('.') + 1);
}

} // namespace

std::vector<std::string> nearestNames(std::string_view name, const std::vector<Signal>& signals)
{
    const std::string wanted = lowerCase(name);
    const std::size_t limit = mostDifferences(wanted);

    std::vector<std::pair<std::size_t, const Signal*>> near;
    for (const Signal& signal : signals) {
        if (signal.label.empty()) {
            continue;
        }
        const std::string full = lowerCase(signal.label);
        const std::string plain = withoutRange(full);
        std::size_t distance = 0;
        if (!endsIn(full, wanted) && !endsIn(plain, wanted)) {
            distance =
                std::min({editDistance(plain, wanted, limit), editDistance(full, wanted, limit),
                          editDistance(lastPart(plain), wanted, limit)});
        }
        if (distance <= limit) {
            near.emplace_back(distance, &signal);
        }
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    std::vector<std::string> names;
    // Beside a name that needs its scope alone, those that are spelt otherwise are no help.
    const bool isSpelt = !near.empty() && near.front().first == 0;
    for (std::size_t i = 0; i < near.size() && i < kMostNames; ++i) {
        if (isSpelt && near[i].first > 0) {
            break;
        }
        names.push_back(near[i].second->label);
    }
    return names;
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
