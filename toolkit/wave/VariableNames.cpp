// SPDX-License-Identifier: BSD-3-Clause

#include "wave/VariableNames.h"

#include "text/Utf8.h"

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace tracewell {

namespace {

/// Whether a name ends as those do that get a number.
bool endsInNumber(std::string_view name)
{
    const std::size_t last = name.find_last_not_of("0123456789");
    return last != std::string_view::npos && last + 1 < name.size() && name[last] == '#';
}

/// The variables whose labels may depend on those of others, and a few more: in order.
std::vector<std::size_t> findNamesakes(const Declarations& table)
{
    constexpr std::size_t kPlacesOfName = 32;
    std::size_t places = kPlacesOfName;
    while (places < kPlacesOfName * table.variables.size()) {
        places *= 2;
    }
    // Of each place, whether a name has it and whether another does too, side by side since they
    // are far from where the last name's were. Two names in one place are most likely the same;
    // that a few are not does no harm.
    std::vector<bool> marks(2 * places);
    std::vector<std::uint32_t> hashes;
    hashes.reserve(table.variables.size());
    const auto markOf = [places](std::uint32_t hash) { return 2 * (hash & (places - 1)); };
    std::vector<bool> hasNumber(table.variables.size());

    VariableNames names(table);
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
        names.goTo(i);
        const std::string_view name = names.printableFull();
        hashes.push_back(static_cast<std::uint32_t>(std::hash<std::string_view>{}(name)));
        const std::size_t mark = markOf(hashes.back());
        marks[marks[mark] ? mark + 1 : mark] = true;
        hasNumber[i] = endsInNumber(name);
    }
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
        if (hasNumber[i] || marks[markOf(hashes[i]) + 1]) {
            found.push_back(i);
        }
    }
    return found;
}

} // namespace

void VariableNames::enter(std::size_t scope)
{
    m_scope = scope;
    // Scopes without a name leave no trace at the end of a path.
    while (scope != kNoScope && m_table.scopes[scope].name.empty()) {
        scope = m_table.scopes[scope].parent;
    }
    m_full.clear();
    std::vector<std::size_t> around;
    for (; scope != kNoScope; scope = m_table.scopes[scope].parent) {
        around.push_back(scope);
    }
    for (; !around.empty(); around.pop_back()) {
        m_full.append(m_table.scopes[around.back()].name).append(1, '.');
    }
    m_scopeSize = m_full.size();
    m_isScopePrintable = isPlainText(m_full);
    m_printableScope = printable(m_full);
}

void VariableNames::goTo(std::size_t variable)
{
    const Variable& declared = m_table.variables[variable];
    if (declared.scope != m_scope) {
        enter(declared.scope);
    }
    m_full.resize(m_scopeSize);
    m_full += declared.name;
    m_plainSize = m_full.size();
    m_full += declared.range.str();
    m_isPrintable = m_isScopePrintable && isPlainText(full().substr(m_scopeSize));
    if (!m_isPrintable) {
        m_printableFull = printable(full());
        m_printablePlain = printable(plain());
    }
}

NameNumbers::NameNumbers(const Declarations& table)
{
    // No other name can be that of another variable, nor that with a number behind it.
    VariableNames names(table);
    std::unordered_map<std::string, unsigned int> seen;
    for (const std::size_t variable : findNamesakes(table)) {
        names.goTo(variable);
        const std::string name(names.printableFull());
        unsigned int& count = seen[name];
        if (++count > 1) {
            // A name can itself end like that.
            std::string number = fmt::format("#{}", count);
            while (!seen.emplace(name + number, 1).second) {
                number = fmt::format("#{}", ++count);
            }
            m_numbers.emplace(variable, std::move(number));
        }
    }
}

} // namespace tracewell
