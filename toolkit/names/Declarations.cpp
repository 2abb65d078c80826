#include "names/Declarations.h"

#include <set>

namespace tracewell {

CommonText::CommonText(std::string_view text)
{
    static std::set<std::string, std::less<>> texts;
    const auto known = texts.find(text);
    m_text = known != texts.end() ? &*known : &*texts.emplace(text).first;
}

std::string Declarations::scopePath(std::size_t scope) const
{
    std::string path;
    for (; scope != kNoScope; scope = scopes[scope].parent) {
        path = path.empty() ? scopes[scope].name : scopes[scope].name + "." + path;
    }
    return path;
}

std::string Declarations::fullName(std::size_t variable) const
{
    const Variable& v = variables[variable];
    const std::string path = scopePath(v.scope);
    return path.empty() ? v.name + v.range.str() : path + "." + v.name + v.range.str();
}

} // namespace tracewell
