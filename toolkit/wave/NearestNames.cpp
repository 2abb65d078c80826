// SPDX-License-Identifier: BSD-3-Clause

#include "wave/NearestNames.h"

#include "text/NearestWord.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tracewell {

namespace {

constexpr std::size_t kMostNames = 3;

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

} // namespace tracewell
