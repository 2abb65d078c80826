// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/ValueKinds.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// The unit of simulation time: `factor` times ten to the power of `exponent` seconds. Any factor
/// can occur (244 ns).
struct Timescale
{
    unsigned long long factor = 1;
    int exponent = -9;
    /// False when the table states none; 1 ns then stands in for it.
    bool stated = false;
};

/// A text that many variables have in common, so that a table of a million of them keeps it once.
/// Kept for the rest of the program's life.
class CommonText
{
public:
    CommonText() : CommonText(std::string_view()) {}
    /// One thread at a time.
    explicit CommonText(std::string_view text);

    operator const std::string&() const { return *m_text; }
    const std::string& str() const { return *m_text; }
    bool empty() const { return m_text->empty(); }

private:
    const std::string* m_text;
};

/// What has a value of its own. Variables that share an identifier code share an object.
struct Object
{
    std::string code;
    const ValueKind* kind = &kScalar;
    /// Bits; that of the widest variable on this code.
    unsigned int width = 1;
};

constexpr std::size_t kNoScope = static_cast<std::size_t>(-1);

struct Scope
{
    std::string kind;
    /// May be empty.
    std::string name;
    /// Index of the scope around it, or kNoScope.
    std::size_t parent = kNoScope;
};

/// Names for values of a variable.
struct Enumeration
{
    std::string name;
    /// By the letters of the value, lower case and without zeros in front of the last.
    std::unordered_map<std::string, std::string> names;

    /// Letters may be of either case, with any number of zeros in front.
    void add(std::string_view letters, std::string_view valueName);
    /// Null for a value that has no name. The letters are lower case.
    const std::string* find(std::string_view letters) const;
};

constexpr std::size_t kNoEnumeration = static_cast<std::size_t>(-1);

/// Of a port, which way values go. The numbers are those of FST.
enum class Direction : std::uint8_t { None, Input, Output, Inout, Buffer, Linkage };

/// "in", "out", "inout", "buffer", "linkage"; empty for none.
std::string_view spell(Direction direction);

struct Variable
{
    /// As declared, in whatever encoding, without the range.
    std::string name;
    /// The keyword of the declaration: wire, reg, integer, real, string, event, port, ...
    CommonText kind;
    /// "[7:0]", "[3]", or empty.
    CommonText range;
    unsigned int width = 1;
    /// True when no blank stands between name and range.
    bool rangeAttached = false;
    std::size_t scope = kNoScope;
    /// Index of its object.
    std::size_t object = 0;
    /// Index of the names that its values have, or kNoEnumeration.
    std::size_t enumeration = kNoEnumeration;
    /// A vector whose leftmost bit is a sign.
    bool isSigned = false;
    Direction direction = Direction::None;
    /// The name that the language's source has for its type, where that is known: std_logic, byte.
    CommonText type;
};

/// The name table of a recording: scopes, variables and objects in the order of declaration. A
/// scope that is opened a second time under the same parent is the same scope.
struct Declarations
{
    /// One step of the declaration text, so that it can be written again as it was.
    struct Item
    {
        enum class Kind { OpenScope, Variable, CloseScope, Comment, Section };
        Kind kind = Kind::Variable;
        /// Index of the scope, variable, comment or section.
        std::size_t index = 0;
    };

    /// A section of another tool ("$attrbegin ... $end"), kept as it is.
    struct Section
    {
        std::string keyword;
        std::string text;
        /// It says something of the variable behind it, and of nothing else.
        bool isForNext = false;
    };

    std::string date;
    std::string version;
    Timescale timescale;
    std::vector<std::string> comments;
    std::vector<Section> sections;
    std::vector<Enumeration> enumerations;
    std::vector<Scope> scopes;
    std::vector<Variable> variables;
    std::vector<Object> objects;
    std::vector<Item> items;

    /// The variable's names from the outermost scope on, joined by ".", then its range as " [7:0]"
    /// would follow the name: "top.dut.data[7:0]".
    std::string fullName(std::size_t variable) const;
    std::string scopePath(std::size_t scope) const;
};

/// Whether the numbers of a declaration's keyword have a sign.
bool isSignedKeyword(std::string_view keyword);

} // namespace tracewell
