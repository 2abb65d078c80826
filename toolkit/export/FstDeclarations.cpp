// SPDX-License-Identifier: BSD-3-Clause

#include "export/FstDeclarations.h"

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

template <typename Kind> struct Keyword
{
    std::string_view word;
    Kind kind;
};

constexpr Keyword<fstVarType> kVariableKinds[] = {
    {"event", FST_VT_VCD_EVENT},
    {"integer", FST_VT_VCD_INTEGER},
    {"parameter", FST_VT_VCD_PARAMETER},
    {"localparam", FST_VT_VCD_PARAMETER},
    {"real", FST_VT_VCD_REAL},
    {"real_parameter", FST_VT_VCD_REAL_PARAMETER},
    {"realtime", FST_VT_VCD_REALTIME},
    {"shortreal", FST_VT_SV_SHORTREAL},
    {"reg", FST_VT_VCD_REG},
    {"supply0", FST_VT_VCD_SUPPLY0},
    {"supply1", FST_VT_VCD_SUPPLY1},
    {"time", FST_VT_VCD_TIME},
    {"tri", FST_VT_VCD_TRI},
    {"triand", FST_VT_VCD_TRIAND},
    {"trior", FST_VT_VCD_TRIOR},
    {"trireg", FST_VT_VCD_TRIREG},
    {"tri0", FST_VT_VCD_TRI0},
    {"tri1", FST_VT_VCD_TRI1},
    {"wand", FST_VT_VCD_WAND},
    {"wire", FST_VT_VCD_WIRE},
    {"wor", FST_VT_VCD_WOR},
    {"sparray", FST_VT_VCD_SPARRAY},
    {"string", FST_VT_GEN_STRING},
    {"bit", FST_VT_SV_BIT},
    {"logic", FST_VT_SV_LOGIC},
    {"int", FST_VT_SV_INT},
    {"shortint", FST_VT_SV_SHORTINT},
    {"longint", FST_VT_SV_LONGINT},
    {"byte", FST_VT_SV_BYTE},
    {"enum", FST_VT_SV_ENUM},
};

constexpr Keyword<fstScopeType> kScopeKinds[] = {
    {"module", FST_ST_VCD_MODULE},
    {"task", FST_ST_VCD_TASK},
    {"function", FST_ST_VCD_FUNCTION},
    {"begin", FST_ST_VCD_BEGIN},
    {"fork", FST_ST_VCD_FORK},
    {"generate", FST_ST_VCD_GENERATE},
    {"struct", FST_ST_VCD_STRUCT},
    {"union", FST_ST_VCD_UNION},
    {"class", FST_ST_VCD_CLASS},
    {"interface", FST_ST_VCD_INTERFACE},
    {"package", FST_ST_VCD_PACKAGE},
    {"program", FST_ST_VCD_PROGRAM},
    {"vhdl_architecture", FST_ST_VHDL_ARCHITECTURE},
    {"vhdl_procedure", FST_ST_VHDL_PROCEDURE},
    {"vhdl_function", FST_ST_VHDL_FUNCTION},
    {"vhdl_record", FST_ST_VHDL_RECORD},
    {"vhdl_process", FST_ST_VHDL_PROCESS},
    {"vhdl_block", FST_ST_VHDL_BLOCK},
    {"vhdl_for_generate", FST_ST_VHDL_FOR_GENERATE},
    {"vhdl_if_generate", FST_ST_VHDL_IF_GENERATE},
    {"vhdl_generate", FST_ST_VHDL_GENERATE},
    {"vhdl_package", FST_ST_VHDL_PACKAGE},
};

constexpr Keyword<fstSupplementalDataType> kDataTypes[] = {
    {"boolean", FST_SDT_VHDL_BOOLEAN},
    {"bit", FST_SDT_VHDL_BIT},
    {"bit_vector", FST_SDT_VHDL_BIT_VECTOR},
    {"std_ulogic", FST_SDT_VHDL_STD_ULOGIC},
    {"std_ulogic_vector", FST_SDT_VHDL_STD_ULOGIC_VECTOR},
    {"std_logic", FST_SDT_VHDL_STD_LOGIC},
    {"std_logic_vector", FST_SDT_VHDL_STD_LOGIC_VECTOR},
    {"unsigned", FST_SDT_VHDL_UNSIGNED},
    {"signed", FST_SDT_VHDL_SIGNED},
    {"integer", FST_SDT_VHDL_INTEGER},
    {"real", FST_SDT_VHDL_REAL},
    {"natural", FST_SDT_VHDL_NATURAL},
    {"positive", FST_SDT_VHDL_POSITIVE},
    {"time", FST_SDT_VHDL_TIME},
    {"character", FST_SDT_VHDL_CHARACTER},
    {"string", FST_SDT_VHDL_STRING},
};

template <typename Kind, std::size_t Count>
Kind kindOf(const Keyword<Kind> (&keywords)[Count], std::string_view word, Kind otherwise)
{
    const auto* const found =
        std::find_if(std::begin(keywords), std::end(keywords),
                     [&](const Keyword<Kind>& keyword) { return keyword.word == word; });
    return found == std::end(keywords) ? otherwise : found->kind;
}

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
    fstWriterSetScope(m_fst, kindOf(kScopeKinds, scope.kind, FST_ST_VCD_MODULE),
                      fitting(scope.name).c_str(), nullptr);
}

void Declaring::addVariable(const Variable& variable)
{
    const Object& object = m_names.objects[variable.object];
    fstVarType kind = kindOf(kVariableKinds, variable.kind.str(), FST_VT_VCD_WIRE);
    if (object.kind->isText()) {
        kind = FST_VT_GEN_STRING;
    }
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
        const auto data = kindOf(kDataTypes, type, FST_SDT_NONE);
        fstWriterSetAttrBegin(
            m_fst, FST_AT_MISC, FST_MT_SUPVAR, fitting(type).c_str(),
            static_cast<std::uint64_t>(data == FST_SDT_NONE && variable.isSigned && !isSignedByKind
                                           ? FST_SDT_VHDL_SIGNED
                                           : data));
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
