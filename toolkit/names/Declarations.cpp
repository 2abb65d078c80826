// SPDX-License-Identifier: BSD-3-Clause

#include "names/Declarations.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

namespace tracewell {

CommonText::CommonText(std::string_view text)
{
    static std::set<std::string, std::less<>> texts;
    const auto known = texts.find(text);
    m_text = known != texts.end() ? &*known : &*texts.emplace(text).first;
}

std::string_view spell(Direction direction)
{
    static constexpr std::string_view kWords[] = {"", "in", "out", "inout", "buffer", "linkage"};
    return kWords[static_cast<std::size_t>(direction)];
}

namespace {

std::string_view withoutZeros(std::string_view letters)
{
    const std::size_t first = letters.find_first_not_of('0');
    return letters.substr(std::min(first, letters.empty() ? 0 : letters.size() - 1));
}

} // namespace

void Enumeration::add(std::string_view letters, std::string_view valueName)
{
    std::string key(withoutZeros(letters));
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    names.emplace(std::move(key), valueName);
}

const std::string* Enumeration::find(std::string_view letters) const
{
    const auto found = names.find(std::string(withoutZeros(letters)));
    return found == names.end() ? nullptr : &found->second;
}

std::string Declarations::scopePath(std::size_t scope) const
{
    std::string path;
    for (; scope != kNoScope; scope = scopes[scope].parent) {
        path.insert(0, path.empty() ? scopes[scope].name : scopes[scope].name + ".");
    }
    return path;
}

std::string Declarations::fullName(std::size_t variable) const
{
    const Variable& v = variables[variable];
    const std::string path = scopePath(v.scope);
    return path.empty() ? v.name + v.range.str() : path + "." + v.name + v.range.str();
}

bool isSignedKeyword(std::string_view keyword)
{
    static constexpr std::string_view kKeywords[] = {"integer", "int",       "shortint",  "longint",
                                                     "byte",    "parameter", "localparam"};
    return std::find(std::begin(kKeywords), std::end(kKeywords), keyword) != std::end(kKeywords);
}

} // namespace tracewell
