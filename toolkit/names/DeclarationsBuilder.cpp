// SPDX-License-Identifier: BSD-3-Clause

#include "names/DeclarationsBuilder.h"

#include "names/Attributes.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tracewell {

namespace {

/// A name of several words stays as it is, as extended identifiers of VHDL can have them. But it
/// has no character that ends a line, and no word that a reader takes for the end of the
/// declaration.
std::string readableName(std::string_view name)
{
    std::string result;
    std::string word;
    const auto endWord = [&] {
        for (const char* keyword : {"$end", "$var", "$scope", "$upscope", "$enddefinitions"}) {
            if (word == keyword) {
                result += '\\';
                break;
            }
        }
        result += word;
        word.clear();
    };
    for (const char c : name) {
        if (c == ' ') {
            endWord();
            result += c;
        } else {
            word += static_cast<unsigned char>(c) < ' ' ? '_' : c;
        }
    }
    endWord();
    return result;
}

} // namespace

std::string identifierCode(std::size_t number)
{
    constexpr std::size_t kFirst = '!';
    constexpr std::size_t kLetters = '~' - '!' + 1;
    std::string code;
    for (++number; number > 0; number /= kLetters) {
        --number;
        code += static_cast<char>(kFirst + number % kLetters);
    }
    return code;
}

DeclarationsBuilder::DeclarationsBuilder(std::string version, const Timescale& timescale)
{
    m_table.version = std::move(version);
    m_table.timescale = timescale;
    m_table.timescale.stated = true;
}

void DeclarationsBuilder::openScope(std::string_view kind, std::string_view name)
{
    using Item = Declarations::Item;
    m_table.items.push_back({Item::Kind::OpenScope, m_table.scopes.size()});
    m_table.scopes.push_back({std::string(kind), readableName(name), m_scope});
    m_scope = m_table.scopes.size() - 1;
}

void DeclarationsBuilder::closeScope()
{
    m_table.items.push_back({Declarations::Item::Kind::CloseScope, 0});
    m_scope = m_table.scopes[m_scope].parent;
}

void DeclarationsBuilder::closeScopeIfUsed()
{
    const bool isEmpty = m_table.items.back().kind == Declarations::Item::Kind::OpenScope;
    closeScope();
    if (isEmpty) {
        m_table.items.resize(m_table.items.size() - 2);
        m_table.scopes.pop_back();
    }
}

std::uint32_t DeclarationsBuilder::addVariable(std::string_view kind, std::string_view name,
                                               std::string_view range, unsigned int width,
                                               const ValueKind& valueKind)
{
    const auto object = static_cast<std::uint32_t>(m_table.objects.size());
    m_table.objects.push_back({identifierCode(object), &valueKind, std::max(width, 1u)});
    addAlias(kind, name, range, width, object);
    return object;
}

void DeclarationsBuilder::addAlias(std::string_view kind, std::string_view name,
                                   std::string_view range, unsigned int width, std::uint32_t object)
{
    m_table.items.push_back({Declarations::Item::Kind::Variable, m_table.variables.size()});
    Variable variable = std::exchange(m_next, {});
    variable.name = readableName(name);
    variable.kind = CommonText(kind);
    variable.range = CommonText(range);
    variable.width = std::max(width, 1u);
    variable.scope = m_scope;
    variable.object = object;
    variable.isSigned = variable.isSigned || isSignedKeyword(kind);
    Object& named = m_table.objects[object];
    const ValueKind& wanted = declaredKind(kind, variable.width);
    if (named.kind->hasBits() && wanted.hasBits() && variable.width > named.width) {
        named.width = variable.width;
        named.kind = &wanted;
    }
    m_table.variables.push_back(std::move(variable));
}

void DeclarationsBuilder::setDirection(Direction direction)
{
    m_next.direction = direction;
    if (direction != Direction::None) {
        addAttribute(fmt::format("{} {}", kDirectionAttribute, static_cast<int>(direction)));
    }
}

void DeclarationsBuilder::setType(std::string_view name)
{
    m_next.type = CommonText(name);
    if (!name.empty()) {
        addAttribute(fmt::format("{} {} 0", kTypeAttribute, attributeWord(name)));
    }
}

void DeclarationsBuilder::setSigned()
{
    m_next.isSigned = true;
    addAttribute(std::string(kSignedAttribute) + " 1");
}

void DeclarationsBuilder::setEnumeration(std::size_t enumeration)
{
    m_next.enumeration = enumeration;
    addAttribute(fmt::format("{} \"\" {}", kEnumerationAttribute, enumeration + 1));
}

std::size_t
DeclarationsBuilder::addEnumeration(std::string_view name,
                                    const std::vector<std::pair<std::string, std::string>>& values)
{
    const std::size_t index = m_table.enumerations.size();
    Enumeration enumeration;
    enumeration.name = name;
    std::string names;
    std::string letters;
    for (const auto& [value, valueName] : values) {
        enumeration.add(value, valueName);
        names.append(1, ' ').append(attributeWord(valueName));
        letters.append(1, ' ').append(value);
    }
    m_table.enumerations.push_back(std::move(enumeration));
    addAttribute(fmt::format("{} {} {}{}{} {}", kEnumerationAttribute, attributeWord(name),
                             values.size(), names, letters, index + 1),
                 false);
    return index;
}

void DeclarationsBuilder::addComment(std::string_view text)
{
    m_table.items.push_back({Declarations::Item::Kind::Comment, m_table.comments.size()});
    m_table.comments.push_back(readableName(text));
}

void DeclarationsBuilder::addAttribute(std::string text, bool isForNext)
{
    m_table.items.push_back({Declarations::Item::Kind::Section, m_table.sections.size()});
    m_table.sections.push_back({"$attrbegin", std::move(text), isForNext});
}

Declarations DeclarationsBuilder::finish()
{
    while (m_scope != kNoScope) {
        closeScope();
    }
    return std::move(m_table);
}

} // namespace tracewell
