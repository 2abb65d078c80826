// SPDX-License-Identifier: BSD-3-Clause

#include "Design.h"

#include <sv_vpi_user.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tracewell::vpi {

namespace {

/// A number of the net that a scalar is connected to, 0 for none; a property that only Icarus
/// Verilog has, and by which its own VCDs give connected scalars one code.
constexpr int kNetNumber = 0x1000000;

std::string text(const char* value)
{
    return value ? value : "";
}

int numberOf(vpiHandle item, int relation)
{
    const vpiHandle expression = vpi_handle(relation, item);
    if (!expression) {
        return 0;
    }
    s_vpi_value value{};
    value.format = vpiIntVal;
    vpi_get_value(expression, &value);
    return value.value.integer;
}

bool isPlainName(std::string_view name)
{
    return !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0 &&
           std::all_of(name.begin(), name.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
}

/// As the simulators' own VCDs have it. Icarus Verilog writes a backslash in front of what has
/// other characters than letters, digits and underscores, though Verilog would not have to escape a
/// dollar sign, and though the name may begin with a backslash of its own, as before a quote. With
/// GHDL it is a part of the name.
std::string variableName(const std::string& name, bool isGhdl)
{
    return isPlainName(name) || name.empty() || isGhdl ? name : "\\" + name;
}

const char* scopeKind(int type)
{
    switch (type) {
    case vpiTask:
        return "task";
    case vpiFunction:
        return "function";
    case vpiNamedBegin:
    case vpiGenScope:
        return "begin";
    case vpiNamedFork:
        return "fork";
    case vpiPackage:
        return "package";
    default:
        return "module";
    }
}

/// The keyword of a declaration; null for what cannot be recorded.
const char* variableKind(int type)
{
    switch (type) {
    case vpiNet:
    case vpiNetBit:
        return "wire";
    case vpiReg:
    case vpiRegBit:
    case vpiMemoryWord:
        return "reg";
    case vpiIntegerVar:
        return "integer";
    case vpiTimeVar:
        return "time";
    case vpiRealVar:
        return "real";
    case vpiNamedEvent:
        return "event";
    case vpiParameter:
        return "parameter";
    case vpiBitVar:
        return "bit";
    case vpiByteVar:
        return "byte";
    case vpiShortIntVar:
        return "shortint";
    case vpiIntVar:
        return "int";
    case vpiLongIntVar:
        return "longint";
    case vpiStringVar:
        return "string";
    default:
        return nullptr;
    }
}

/// The types of what a scope can declare, and of the scopes in it.
constexpr int kItemTypes[] = {vpiParameter, vpiNet,         vpiReg,        vpiIntegerVar,
                              vpiTimeVar,   vpiRealVar,     vpiNamedEvent, vpiBitVar,
                              vpiByteVar,   vpiShortIntVar, vpiIntVar,     vpiLongIntVar,
                              vpiStringVar};

/// Of Icarus Verilog, which ends itself over questions for the bits of words that have none.
bool isWordOfBits(vpiHandle word)
{
    s_vpi_value value{};
    value.format = vpiObjTypeVal;
    vpi_get_value(word, &value);
    return value.format != vpiRealVal && value.format != vpiStringVal;
}

std::string fullNameOf(vpiHandle item)
{
    return text(vpi_get_str(vpiFullName, item));
}

template <class Visit> void forEach(int type, vpiHandle scope, Visit visit)
{
    const vpiHandle iterator = vpi_iterate(type, scope);
    if (!iterator) {
        return;
    }
    while (const vpiHandle item = vpi_scan(iterator)) {
        visit(item);
    }
}

} // namespace

int timePrecision()
{
    return vpi_get(vpiTimePrecision, nullptr);
}

std::string simulatorName()
{
    s_vpi_vlog_info info{};
    return vpi_get_vlog_info(&info) ? text(info.product) : std::string();
}

bool isScope(vpiHandle item)
{
    switch (vpi_get(vpiType, item)) {
    case vpiModule:
    case vpiPackage:
    case vpiGenScope:
    case vpiTask:
    case vpiFunction:
    case vpiNamedBegin:
    case vpiNamedFork:
        return true;
    default:
        return false;
    }
}

namespace {

/// Below or among the scopes that `relation` finds.
void findScopesIn(int relation, vpiHandle around, std::string_view name,
                  std::vector<vpiHandle>& found)
{
    forEach(relation, around, [&](vpiHandle scope) {
        const std::string own = text(vpi_get_str(vpiName, scope));
        for (const std::string& spelling : {own, "\\" + own}) {
            if (name == spelling) {
                found.push_back(scope);
            } else if (name.substr(0, spelling.size() + 1) == spelling + ".") {
                findScopesIn(vpiInternalScope, scope, name.substr(spelling.size() + 1), found);
            }
        }
    });
}

} // namespace

std::vector<vpiHandle> findScopes(const std::string& name)
{
    std::vector<vpiHandle> found;
    findScopesIn(vpiModule, nullptr, name, found);
    if (found.empty()) {
        const vpiHandle scope = vpi_handle_by_name(const_cast<PLI_BYTE8*>(name.c_str()), nullptr);
        if (scope && isScope(scope)) {
            found.push_back(scope);
        }
    }
    return found;
}

namespace {

/// Null above a top scope.
vpiHandle scopeAround(vpiHandle item)
{
    const vpiHandle scope = vpi_handle(vpiScope, item);
    std::string name = fullNameOf(item);
    if (!scope || fullNameOf(scope) != name) {
        return scope;
    }
    // GHDL says that a scope lies in itself.
    const std::size_t own = text(vpi_get_str(vpiName, item)).size() + 1;
    if (name.size() <= own) {
        return nullptr;
    }
    name.resize(name.size() - own);
    const std::vector<vpiHandle> found = findScopes(name);
    return found.empty() ? nullptr : found.front();
}

} // namespace

Design::Design(bool keepsTexts, std::function<void(const std::string&)> complain)
    : m_keepsTexts(keepsTexts), m_complain(std::move(complain)),
      m_builder("Tracewell in " + simulatorName(), {1, timePrecision(), true}),
      m_isIcarus(simulatorName() == kIcarus), m_isGhdl(simulatorName() == kGhdl)
{
    s_vpi_vlog_info info{};
    if (vpi_get_vlog_info(&info)) {
        m_version = std::atoi(text(info.version).c_str());
    }
}

void Design::addTops(unsigned int levels)
{
    forEach(vpiModule, nullptr, [&](vpiHandle top) {
        // Among the tops are packages, most of them empty.
        if (vpi_get(vpiType, top) == vpiModule || declaresSomething(top)) {
            addScope(top, levels);
        }
    });
}

bool Design::declaresSomething(vpiHandle scope) const
{
    bool found = false;
    for (const int type : kItemTypes) {
        forEach(type, scope, [&](vpiHandle) { found = true; });
    }
    return found;
}

void Design::addScope(vpiHandle scope, unsigned int levels)
{
    const std::size_t above = openScopesAround(scope);
    addContents(scope, levels);
    closeScopes(above);
}

std::size_t Design::openScopesAround(vpiHandle item)
{
    std::vector<vpiHandle> above;
    for (vpiHandle at = scopeAround(item); at; at = scopeAround(at)) {
        above.push_back(at);
    }
    for (auto at = above.rbegin(); at != above.rend(); ++at) {
        openScope(*at);
    }
    return above.size();
}

void Design::openScope(vpiHandle scope)
{
    m_builder.openScope(scopeKind(vpi_get(vpiType, scope)), text(vpi_get_str(vpiName, scope)));
}

void Design::closeScopes(std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        m_builder.closeScope();
    }
}

void Design::addContents(vpiHandle scope, unsigned int levels)
{
    openScope(scope);
    addItems(scope);
    if (levels != 1) {
        std::vector<vpiHandle> inner;
        forEach(vpiInternalScope, scope, [&](vpiHandle each) { inner.push_back(each); });
        for (const vpiHandle each : inner) {
            if (m_isGhdl || vpi_get(vpiAutomatic, each) != 1) {
                addContents(each, levels == 0 ? 0 : levels - 1);
            }
        }
    }
    m_builder.closeScope();
}

void Design::addItems(vpiHandle scope)
{
    // GHDL has ports and signals as nets, and complains of questions that it does not know.
    if (m_isGhdl) {
        forEach(vpiNet, scope, [&](vpiHandle item) { add(item, scope); });
        return;
    }
    for (const int type : kItemTypes) {
        forEach(type, scope, [&](vpiHandle item) {
            // A question for one type can bring others too.
            if (vpi_get(vpiType, item) == type) {
                add(item, scope);
            }
        });
    }
}

bool Design::addVariable(vpiHandle variable)
{
    const int type = vpi_get(vpiType, variable);
    if (type != vpiMemory && !variableKind(type)) {
        return false;
    }
    const std::size_t above = openScopesAround(variable);
    const vpiHandle scope = scopeAround(variable);
    if (type == vpiMemory) {
        forEach(vpiMemoryWord, variable, [&](vpiHandle word) { add(word, scope); });
    } else {
        add(variable, scope);
    }
    closeScopes(above);
    return true;
}

Design::Identity Design::identify(vpiHandle item, int type, vpiHandle scope) const
{
    if (!m_isIcarus) {
        return {nullptr, fullNameOf(item)};
    }
    return type == vpiMemoryWord ? Identity(scope, fullNameOf(item)) : Identity(item, "");
}

void Design::add(vpiHandle item, vpiHandle scope)
{
    const int type = vpi_get(vpiType, item);
    // Icarus Verilog 11 ends itself over questions about strings; later ones answer them.
    if (type == vpiStringVar && m_isIcarus && m_version < 12) {
        // Nor does it give their names.
        skip(type, "a string variable" + (scope ? " of " + fullNameOf(scope) : std::string()));
        return;
    }
    const char* kind = variableKind(type);
    if (!kind) {
        return;
    }
    if (!m_known.insert(identify(item, type, scope)).second) {
        return;
    }
    const std::string fullName = fullNameOf(item);
    if (type == vpiMemoryWord && m_isIcarus && !isWordOfBits(item)) {
        skip(type, fullName + " (of an array of real numbers or strings)");
        return;
    }
    if (type == vpiParameter) {
        const int constant = vpi_get(vpiConstType, item);
        kind = constant == vpiRealConst     ? "real_parameter"
               : constant == vpiStringConst ? "string"
                                            : "parameter";
    }
    const ValueKind* valueKind = &kScalar;
    unsigned int width = 1;
    if (type == vpiNamedEvent) {
        valueKind = &kEvent;
    } else if (std::string_view(kind) == "string") {
        if (!m_keepsTexts) {
            skip(type, fullName + " (a string, which a transition database does not keep)");
            return;
        }
        valueKind = &kString;
    } else if (type == vpiRealVar || std::string_view(kind) == "real_parameter") {
        valueKind = &kReal;
        width = 64;
    } else {
        const int size = vpi_get(vpiSize, item);
        if (size < 1) {
            skip(type, fullName);
            return;
        }
        width = static_cast<unsigned int>(size);
        valueKind = width > 1 ? &kVector : &kScalar;
    }
    std::string range;
    // Icarus Verilog takes a range of one bit for none, and its VCD gives it where it is not [0:0].
    const bool isArray =
        valueKind->hasBits() && type != vpiParameter &&
        (m_isGhdl ? vpi_get(vpiVector, item) == 1
                  : width > 1 || (m_isIcarus && numberOf(item, vpiLeftRange) != 0));
    if (m_isGhdl) {
        // A number, or bits and letters; of an enumeration the number of the value.
        kind = !isArray && width == 32 ? "integer" : "reg";
    }
    if (isArray) {
        range = fmt::format("[{}:{}]", numberOf(item, vpiLeftRange), numberOf(item, vpiRightRange));
        if (range == "[0:0]" && width > 1) {
            range = fmt::format("[{}:0]", width - 1);
        }
    }
    const std::string name = variableName(text(vpi_get_str(vpiName, item)), m_isGhdl);
    int net = 0;
    if (m_isIcarus && width == 1 && (type == vpiNet || type == vpiReg)) {
        net = vpi_get(kNetNumber, item);
    }
    if (net != 0) {
        const auto known = m_nets.find(net);
        if (known != m_nets.end()) {
            m_builder.addAlias(kind, name, range, width, known->second);
            return;
        }
    }
    Probe& probe = m_probes.emplace_back();
    probe.handle = item;
    probe.kind = valueKind;
    probe.width = width;
    probe.isConstant = type == vpiParameter;
    probe.object = m_builder.addVariable(kind, name, range, width, *valueKind);
    if (net != 0) {
        m_nets.emplace(net, probe.object);
    }
}

/// The first of each kind is named.
void Design::skip(int type, const std::string& name)
{
    if (m_skipped[type]++ == 0) {
        m_complain(fmt::format("{} cannot be recorded, nor others of its kind", name));
    }
}

} // namespace tracewell::vpi
