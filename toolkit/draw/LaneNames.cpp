// SPDX-License-Identifier: BSD-3-Clause

#include "draw/LaneNames.h"

#include "text/Utf8.h"

#include <algorithm>
#include <string_view>

namespace tracewell {

namespace {

/// Scopes end in a ".": what both have in common, as "top.dut.".
std::string commonScope(std::string a, std::string_view b)
{
    while (!a.empty() && b.substr(0, a.size()) != a) {
        a.pop_back();
        a.erase(a.rfind('.') + 1);
    }
    return a;
}

bool isWithin(const std::string& scope, const std::string& outer)
{
    return scope.compare(0, outer.size(), outer) == 0;
}

/// The heading that serves the lane at `at` and as many of those behind it as will do.
std::string chooseHeading(const std::vector<Signal>& signals, std::size_t at,
                          const std::string& common)
{
    const std::string& scope = signals[at].scope;
    if (at + 1 == signals.size() || signals[at + 1].scope == scope) {
        return scope;
    }
    const std::string shared = commonScope(scope, signals[at + 1].scope);
    return shared.size() > common.size() ? shared : scope;
}

std::string headingText(const std::string& scope, const std::string& common)
{
    const std::string shown = scope.size() > common.size() ? scope.substr(common.size()) : scope;
    return shown.empty() ? "(outermost)" : shown.substr(0, shown.size() - 1);
}

} // namespace

LaneNames nameLanes(const std::vector<Signal>& signals)
{
    LaneNames names;
    std::string common = signals.empty() ? std::string() : signals[0].scope;
    for (const Signal& signal : signals) {
        common = commonScope(common, signal.scope);
    }
    names.common = common.substr(0, common.size() - (common.empty() ? 0 : 1));
    std::string heading = common;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const std::string& scope = signals[i].scope;
        const bool isRun = i + 1 < signals.size() && signals[i + 1].scope == scope;
        LaneName name;
        if (scope != heading && (isRun || !isWithin(scope, heading))) {
            heading = chooseHeading(signals, i, common);
            name.heading = headingText(heading, common);
        }
        name.scope = scope.substr(heading.size());
        name.name = signals[i].label.substr(scope.size());
        names.lanes.push_back(std::move(name));
    }
    return names;
}

std::size_t LaneNames::headingCount() const
{
    return static_cast<std::size_t>(std::count_if(
        lanes.begin(), lanes.end(), [](const LaneName& name) { return !name.heading.empty(); }));
}

std::size_t LaneNames::longest() const
{
    std::size_t result = 0;
    for (const LaneName& name : lanes) {
        result = std::max(result, characterCount(name.scope) + characterCount(name.name));
    }
    return result;
}

} // namespace tracewell
