// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tracewell {

/// The names of a table's variables, of one variable at a time: a table may have a million of them,
/// whose paths in full take several times what the table does. One thread.
class VariableNames
{
public:
    /// At no variable yet. The table outlives it.
    explicit VariableNames(const Declarations& table) : m_table(table) {}

    /// Quick where the variable lies in the scope of the one before.
    void goTo(std::size_t variable);

    // Of the variable that it is at, until it goes to another.
    /// As Declarations::fullName.
    std::string_view full() const { return m_full; }
    /// The same without the range.
    std::string_view plain() const { return full().substr(0, m_plainSize); }
    /// Both fit for output; the very same bytes where they are so as declared.
    std::string_view printableFull() const { return m_isPrintable ? full() : m_printableFull; }
    std::string_view printablePlain() const { return m_isPrintable ? plain() : m_printablePlain; }
    bool isPrintable() const { return m_isPrintable; }
    /// What printableFull() has of the scopes, with the "." behind them; empty outside of any.
    const std::string& printableScope() const { return m_printableScope; }

private:
    void enter(std::size_t scope);

    const Declarations& m_table;
    /// The one whose path m_full starts with.
    std::size_t m_scope = kNoScope;
    std::string m_full;
    std::size_t m_scopeSize = 0;
    std::size_t m_plainSize = 0;
    bool m_isScopePrintable = true;
    bool m_isPrintable = true;
    std::string m_printableScope;
    // Only where they differ from what was declared.
    std::string m_printableFull;
    std::string m_printablePlain;
};

/// What tells variables of one printable name apart: "#2" behind that of the second, and so on.
class NameNumbers
{
public:
    explicit NameNumbers(const Declarations& table);

    /// Empty for most.
    const std::string& of(std::size_t variable) const
    {
        const auto number = m_numbers.find(variable);
        return number == m_numbers.end() ? m_none : number->second;
    }

private:
    std::string m_none;
    std::unordered_map<std::size_t, std::string> m_numbers;
};

} // namespace tracewell
