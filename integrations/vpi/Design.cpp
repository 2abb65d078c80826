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
           name[0] != '$' && std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '_' || c == '$';
           });
}

/// As a name table has it: with a backslash in front of what Verilog would have to escape.
std::string tableName(const std::string& name)
{
    // Words of a memory and blocks of a generate loop have an index.
    std::string_view plain = name;
    if (!plain.empty() && plain.back() == ']') {
        plain = plain.substr(0, plain.find('['));
    }
    return isPlainName(plain) || plain.empty() || plain[0] == '\\' ? name : "\\" + name;
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

Design::Design(std::function<void(const std::string&)> complain)
    : m_complain(std::move(complain)),
      m_builder("Tracewell in " + simulatorName(), {1, timePrecision(), true}),
      m_isIcarus(simulatorName() == "Icarus Verilog")
{
    s_vpi_vlog_info info{};
    if (vpi_get_vlog_info(&info)) {
        m_version = std::atoi(text(info.version).c_str());
    }
}

void Design::addTops(unsigned int levels)
{
    forEach(vpiModule, nullptr, [&](vpiHandle top) { addScope(top, levels); });
}

void Design::addScope(vpiHandle scope, unsigned int levels)
{
    std::vector<vpiHandle> above;
    for (vpiHandle at = vpi_handle(vpiScope, scope); at; at = vpi_handle(vpiScope, at)) {
        above.push_back(at);
    }
    for (auto at = above.rbegin(); at != above.rend(); ++at) {
        m_builder.openScope(scopeKind(vpi_get(vpiType, *at)),
                            tableName(text(vpi_get_str(vpiName, *at))));
    }
    addContents(scope, levels);
    for (std::size_t i = 0; i < above.size(); ++i) {
        m_builder.closeScope();
    }
}

void Design::addContents(vpiHandle scope, unsigned int levels)
{
    m_builder.openScope(scopeKind(vpi_get(vpiType, scope)),
                        tableName(text(vpi_get_str(vpiName, scope))));
    addItems(scope);
    if (levels != 1) {
        std::vector<vpiHandle> inner;
        forEach(vpiInternalScope, scope, [&](vpiHandle each) { inner.push_back(each); });
        for (const vpiHandle each : inner) {
            if (vpi_get(vpiAutomatic, each) != 1) {
                addContents(each, levels == 0 ? 0 : levels - 1);
            }
        }
    }
    m_builder.closeScope();
}

void Design::addItems(vpiHandle scope)
{
    // GHDL has ports and signals as nets, and complains of questions that it does not know.
    if (!m_isIcarus && simulatorName() == "GHDL") {
        forEach(vpiNet, scope, [&](vpiHandle item) { add(item); });
        return;
    }
    for (const int type : kItemTypes) {
        forEach(type, scope, [&](vpiHandle item) {
            // A question for one type can bring others too.
            if (vpi_get(vpiType, item) == type) {
                add(item);
            }
        });
    }
}

void Design::addVariable(vpiHandle variable)
{
    std::vector<vpiHandle> above;
    for (vpiHandle at = vpi_handle(vpiScope, variable); at; at = vpi_handle(vpiScope, at)) {
        above.push_back(at);
    }
    for (auto at = above.rbegin(); at != above.rend(); ++at) {
        m_builder.openScope(scopeKind(vpi_get(vpiType, *at)),
                            tableName(text(vpi_get_str(vpiName, *at))));
    }
    add(variable);
    for (std::size_t i = 0; i < above.size(); ++i) {
        m_builder.closeScope();
    }
}

void Design::add(vpiHandle item)
{
    const int type = vpi_get(vpiType, item);
    // Icarus Verilog 11 ends itself over questions about strings; later ones answer them.
    if (type == vpiStringVar && m_isIcarus && m_version < 12) {
        skip(type, "a string variable");
        return;
    }
    const std::string fullName = text(vpi_get_str(vpiFullName, item));
    if (!m_known.emplace(fullName, true).second) {
        return;
    }
    const char* kind = variableKind(type);
    if (!kind) {
        skip(type, fullName);
        return;
    }
    if (type == vpiParameter) {
        const int constant = vpi_get(vpiConstType, item);
        kind = constant == vpiRealConst ? "real_parameter" : "parameter";
        if (constant == vpiStringConst) {
            skip(type, fullName + " (a string parameter)");
            return;
        }
    }
    ObjectClass objectClass = ObjectClass::Scalar;
    unsigned int width = 1;
    if (type == vpiNamedEvent) {
        objectClass = ObjectClass::Event;
    } else if (type == vpiStringVar) {
        objectClass = ObjectClass::String;
    } else if (type == vpiRealVar || std::string_view(kind) == "real_parameter") {
        objectClass = ObjectClass::Real;
        width = 64;
    } else {
        const int size = vpi_get(vpiSize, item);
        if (size < 1) {
            skip(type, fullName);
            return;
        }
        width = static_cast<unsigned int>(size);
        objectClass = width > 1 ? ObjectClass::Vector : ObjectClass::Scalar;
    }
    std::string range;
    const bool hasBits = objectClass == ObjectClass::Vector || objectClass == ObjectClass::Scalar;
    if (hasBits && type != vpiParameter &&
        (width > 1 || (m_isIcarus && vpi_get(vpiVector, item) == 1))) {
        range = fmt::format("[{}:{}]", numberOf(item, vpiLeftRange), numberOf(item, vpiRightRange));
        if (range == "[0:0]" && width > 1) {
            range = fmt::format("[{}:0]", width - 1);
        }
    }
    const std::string name = tableName(text(vpi_get_str(vpiName, item)));
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
    probe.objectClass = objectClass;
    probe.width = width;
    probe.isConstant = type == vpiParameter;
    probe.object = m_builder.addVariable(kind, name, range, width, objectClass);
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
