// SPDX-License-Identifier: BSD-3-Clause

#include "export/FstDeclarations.h"

#include "formats/fst/FstKeywords.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <fstapi.h>

namespace tracewell {

namespace {

/// Readers have room for so many bytes of a name, and look at no more of an attribute.
constexpr std::size_t kLongestName = 511;
constexpr std::size_t kLongestAttribute = 65536;

class Declaring
{
public:
    Declaring(void* fst, const Declarations& declarations);
    FstHandles declare();

private:
    using Item = Declarations::Item;

    void openScope(const Scope& scope);
    void addVariable(const Variable& variable);
    void addAttributes(const Variable& variable, fstVarType kind);
    fstEnumHandle tableOf(const Variable& variable);
    std::string fitting(std::string name);

    void* m_fst;
    const Declarations& m_names;
    FstHandles m_handles;
    /// By enumeration and width.
    std::map<std::pair<std::size_t, unsigned int>, fstEnumHandle> m_tables;
    unsigned int m_cutNames = 0;
};

Declaring::Declaring(void* fst, const Declarations& declarations)
    : m_fst(fst), m_names(declarations)
{
    m_handles.ofObject.resize(declarations.objects.size());
}

FstHandles Declaring::declare()
{
    for (const Item& item : m_names.items) {
        switch (item.kind) {
        case Item::Kind::OpenScope:
            openScope(m_names.scopes[item.index]);
            break;
        case Item::Kind::CloseScope:
            fstWriterSetUpscope(m_fst);
            break;
        case Item::Kind::Variable:
            addVariable(m_names.variables[item.index]);
            break;
        case Item::Kind::Comment:
            fstWriterSetComment(m_fst,
                                m_names.comments[item.index].substr(0, kLongestAttribute).c_str());
            break;
        case Item::Kind::Section:
            // What is understood of them is told of the variables.
            break;
        }
    }
    return std::move(m_handles);
}

void Declaring::openScope(const Scope& scope)
{
    fstWriterSetScope(m_fst,
                      static_cast<fstScopeType>(findFstWord(kFstScopes, scope.kind).value_or(0)),
                      fitting(scope.name).c_str(), nullptr);
}

void Declaring::addVariable(const Variable& variable)
{
    const Object& object = m_names.objects[variable.object];
    const unsigned int word =
        findFstWord(kFstVariables, variable.kind.str()).value_or(FST_VT_VCD_WIRE);
    // The letters of a port alone, which is another kind of value there.
    const auto kind = object.kind->isText() ? FST_VT_GEN_STRING
                      : word == kFstPort    ? FST_VT_VCD_WIRE
                                            : static_cast<fstVarType>(word);
    const std::uint32_t width = object.kind->hasBits() ? variable.width : 1;
    std::vector<FstHandles::Handle>& handles = m_handles.ofObject[variable.object];
    const auto known =
        std::find_if(handles.begin(), handles.end(),
                     [&](const FstHandles::Handle& handle) { return handle.width == width; });
    std::string name = variable.name;
    if (!variable.range.empty()) {
        name += (variable.rangeAttached ? "" : " ") + variable.range.str();
    }
    addAttributes(variable, kind);
    const fstHandle handle =
        fstWriterCreateVar(m_fst, kind, static_cast<fstVarDir>(variable.direction), width,
                           fitting(name).c_str(), known == handles.end() ? 0 : known->number);
    if (known == handles.end()) {
        handles.push_back({handle, width});
    }
}

void Declaring::addAttributes(const Variable& variable, fstVarType kind)
{
    if (const fstEnumHandle table = tableOf(variable)) {
        fstWriterEmitEnumTableRef(m_fst, table);
    }
    std::string type = variable.type.str();
    const bool isSignedByKind = kind == FST_VT_VCD_INTEGER || isSignedKeyword(variable.kind.str());
    if (type.empty() && variable.isSigned && !isSignedByKind) {
        type = "signed";
    }
    if (!type.empty()) {
        const unsigned int data = findFstWord(kFstDataTypes, type).value_or(0);
        const bool isSigned = data == 0 && variable.isSigned && !isSignedByKind;
        fstWriterSetAttrBegin(m_fst, FST_AT_MISC, FST_MT_SUPVAR, fitting(type).c_str(),
                              isSigned ? kFstSigned : data);
    }
}

/// 0 for a variable without names of values, and for more of them than readers take.
fstEnumHandle Declaring::tableOf(const Variable& variable)
{
    if (variable.enumeration == kNoEnumeration) {
        return 0;
    }
    const auto [place, isNew] = m_tables.try_emplace({variable.enumeration, variable.width}, 0);
    if (!isNew) {
        return place->second;
    }
    const Enumeration& enumeration = m_names.enumerations[variable.enumeration];
    // By value, of one width.
    std::map<std::string, const char*> values;
    std::size_t bytes = enumeration.name.size();
    for (const auto& [letters, name] : enumeration.names) {
        const std::size_t missing =
            variable.width - std::min<std::size_t>(variable.width, letters.size());
        values.emplace(std::string(missing, '0') + letters, name.c_str());
        // An escaped byte takes four.
        bytes += 4 * name.size() + variable.width + letters.size() + 2;
    }
    if (values.empty() || bytes > kLongestAttribute) {
        return 0;
    }
    std::vector<const char*> literals;
    std::vector<const char*> letters;
    for (const auto& [value, name] : values) {
        letters.push_back(value.c_str());
        literals.push_back(name);
    }
    // A word of its own for readers.
    std::string word = enumeration.name.empty() ? "enumeration" : fitting(enumeration.name);
    std::replace(word.begin(), word.end(), ' ', '_');
    place->second =
        fstWriterCreateEnumTable(m_fst, word.c_str(), static_cast<std::uint32_t>(values.size()), 0,
                                 literals.data(), letters.data());
    return place->second;
}

/// A name that is too long keeps its start and gets a number.
std::string Declaring::fitting(std::string name)
{
    std::replace(name.begin(), name.end(), '\0', '_');
    if (name.size() > kLongestName) {
        const std::string number = fmt::format("~{}", ++m_cutNames);
        name.resize(kLongestName - number.size());
        name += number;
    }
    return name;
}

} // namespace

FstHandles declareInFst(void* fst, const Declarations& declarations)
{
    return Declaring(fst, declarations).declare();
}

} // namespace tracewell
