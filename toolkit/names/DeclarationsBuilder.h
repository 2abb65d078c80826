// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tracewell {

/// Makes a name table out of what a simulator declares, scope by scope.
class DeclarationsBuilder
{
public:
    DeclarationsBuilder(std::string version, const Timescale& timescale);

    void openScope(std::string_view kind, std::string_view name);
    void closeScope();
    /// The same, but of one with nothing in it nothing is left.
    void closeScopeIfUsed();
    /// Declares a variable with a value of its own in the scope at hand, and answers its object.
    /// `range` is "[7:0]" or empty. Blanks in names, which no name table can hold, become "_".
    std::uint32_t addVariable(std::string_view kind, std::string_view name, std::string_view range,
                              unsigned int width, const ValueKind& valueKind);
    // What the next variable or alias alone has beside.
    void setDirection(Direction direction);
    /// The name of its type in the source: std_logic, byte.
    void setType(std::string_view name);
    /// One of addEnumeration().
    void setEnumeration(std::size_t enumeration);
    /// For vectors whose keyword does not say it.
    void setSigned();

    /// Names of values: letters of the value first, then its name.
    std::size_t addEnumeration(std::string_view name,
                               const std::vector<std::pair<std::string, std::string>>& values);
    void setDate(std::string_view date) { m_table.date = date; }
    void addComment(std::string_view text);

    /// Another name for an object that there is. Where both have bits and this one has more, the
    /// object has so many, as it has when the table is read again.
    void addAlias(std::string_view kind, std::string_view name, std::string_view range,
                  unsigned int width, std::uint32_t object);

    std::size_t variables() const { return m_table.variables.size(); }
    /// Closes the open scopes and hands the table over.
    Declarations finish();

private:
    void addAttribute(std::string text, bool isForNext = true);

    Declarations m_table;
    /// What is set of the next variable.
    Variable m_next;
    std::size_t m_scope = kNoScope;
};

/// The shortest codes of printable characters, one for each number.
std::string identifierCode(std::size_t number);

} // namespace tracewell
