// SPDX-License-Identifier: BSD-3-Clause

#include "wave/NearestNames.h"

#include "text/NearestWord.h"
#include "wave/VariableNames.h"

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

std::vector<std::string> nearestNames(std::string_view name, const SignalNames& file)
{
    const std::string wanted = lowerCase(name);
    const std::size_t limit = mostDifferences(wanted);
    VariableNames names(file.declarations());
    const NameNumbers numbers(file.declarations());
    const auto labelOf = [&](std::size_t variable) {
        names.goTo(variable);
        return std::string(names.printableFull()) + numbers.of(variable);
    };

    std::vector<std::pair<std::size_t, std::size_t>> near;
    for (std::size_t i = 0; i < file.declarations().variables.size(); ++i) {
        const std::string full = lowerCase(labelOf(i));
        if (full.empty()) {
            continue;
        }
        const std::string plain = withoutRange(full);
        std::size_t distance = 0;
        if (!endsIn(full, wanted) && !endsIn(plain, wanted)) {
            distance =
                std::min({editDistance(plain, wanted, limit), editDistance(full, wanted, limit),
                          editDistance(lastPart(plain), wanted, limit)});
        }
        if (distance <= limit) {
            near.emplace_back(distance, i);
        }
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    std::vector<std::string> nearest;
    // Beside a name that needs its scope alone, those that are spelt otherwise are no help.
    const bool isSpelt = !near.empty() && near.front().first == 0;
    for (std::size_t i = 0; i < near.size() && i < kMostNames; ++i) {
        if (isSpelt && near[i].first > 0) {
            break;
        }
        nearest.push_back(labelOf(near[i].second));
    }
    return nearest;
}

} // namespace tracewell
