// SPDX-License-Identifier: BSD-3-Clause

#include "ModelNames.h"

#include "names/DeclarationsBuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace tracewell {

namespace {

using Kind = ModelRecorder::Kind;

/// Names of scopes that Verilator tells apart in a VCD, by the byte behind the scope's name; null
/// for one that belongs to the name.
const char* scopeKind(unsigned char code)
{
    switch (code) {
    case 128 + 6:
        return "struct";
    case 128 + 7:
        return "union";
    case 128 + 9:
        return "interface";
    default:
        return nullptr;
    }
}

const char* keyword(Kind kind)
{
    switch (kind) {
    case Kind::Real:
        return "real";
    case Kind::Event:
        return "event";
    case Kind::Bits:
        break;
    }
    return "wire";
}

const ValueKind& valueKind(Kind kind, unsigned int width)
{
    switch (kind) {
    case Kind::Real:
        return kReal;
    case Kind::Event:
        return kEvent;
    case Kind::Bits:
        break;
    }
    return width == 1 ? kScalar : kVector;
}

/// Of "100ps"; seconds where it makes no sense.
Timescale parseTimescale(const std::string& text)
{
    static constexpr std::pair<const char*, int> kUnits[] = {
        {"s", 0}, {"ms", -3}, {"us", -6}, {"ns", -9}, {"ps", -12}, {"fs", -15}, {"as", -18}};
    char* unit = nullptr;
    Timescale timescale;
    timescale.factor = std::max(1ull, std::strtoull(text.c_str(), &unit, 10));
    timescale.exponent = 0;
    for (const auto& [name, exponent] : kUnits) {
        if (std::string_view(unit) == name) {
            timescale.exponent = exponent;
        }
    }
    return timescale;
}

} // namespace

/// Walks the scopes, outer ones first.
class ModelNames::TableMaker
{
public:
    explicit TableMaker(const ModelNames& names)
        : m_names(names), m_builder("Verilator and Tracewell", parseTimescale(names.m_resolution))
    {
        // A variable needs a scope. A model without a name has some that lie in none.
        const bool hasBareNames = !names.m_scopes[0].signals.empty();
        if (hasBareNames) {
            m_builder.openScope("module", "top");
        }
        addScope(names.m_scopes[0]);
        if (hasBareNames) {
            m_builder.closeScope();
        }
    }

    std::pair<Declarations, std::vector<std::uint32_t>> finish()
    {
        return {m_builder.finish(), std::move(m_objects)};
    }

private:
    void addScope(const ScopeNames& scope)
    {
        for (const Signal& signal : scope.signals) {
            addSignal(signal);
        }
        for (const std::size_t index : scope.inner) {
            const ScopeNames& inner = m_names.m_scopes[index];
            m_builder.openScope(inner.kind, inner.name);
            addScope(inner);
            m_builder.closeScope();
        }
    }

    void addSignal(const Signal& signal)
    {
        if (m_objects.size() <= signal.code) {
            m_objects.resize(std::size_t{signal.code} + 1, kNoObject);
        }
        std::uint32_t& object = m_objects[signal.code];
        if (object == kNoObject) {
            object = m_builder.addVariable(keyword(signal.kind), signal.name, signal.range,
                                           signal.width, valueKind(signal.kind, signal.width));
        } else {
            m_builder.addAlias(keyword(signal.kind), signal.name, signal.range, signal.width,
                               object);
        }
    }

    const ModelNames& m_names;
    DeclarationsBuilder m_builder;
    std::vector<std::uint32_t> m_objects;
};

void ModelNames::declare(std::uint32_t code, std::string_view path, Kind kind,
                         const int* arrayIndex, const ModelRecorder::Range& range)
{
    std::size_t scope = 0;
    std::string name;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find(' ', at), path.size());
        const std::string_view word = path.substr(at, end - at);
        at = end + 1;
        if (end == path.size()) {
            name = word;
        } else if (!word.empty()) {
            scope = findScope(scope, word);
        }
    }
    if (arrayIndex) {
        name += fmt::format("[{}]", *arrayIndex);
    }
    ScopeNames& owner = m_scopes[scope];
    if (!owner.known.emplace(name, code).second) {
        return;
    }
    const unsigned int width =
        kind == Kind::Real ? 64
                           : static_cast<unsigned int>(
                                 std::abs(static_cast<long long>(range.left) - range.right) + 1);
    owner.signals.push_back(
        {code, kind, std::move(name),
         range.isStated ? fmt::format("[{}:{}]", range.left, range.right) : std::string(), width});
}

std::size_t ModelNames::findScope(std::size_t outer, std::string_view word)
{
    const auto known = m_scopes[outer].innerByName.find(word);
    if (known != m_scopes[outer].innerByName.end()) {
        return known->second;
    }
    const char* const kind = scopeKind(static_cast<unsigned char>(word.back()));
    ScopeNames scope;
    scope.kind = kind ? kind : "module";
    scope.name = kind ? word.substr(0, word.size() - 1) : word;
    const std::size_t index = m_scopes.size();
    m_scopes.push_back(std::move(scope));
    m_scopes[outer].innerByName.emplace(word, index);
    m_scopes[outer].inner.push_back(index);
    return index;
}

std::pair<Declarations, std::vector<std::uint32_t>> ModelNames::makeTable() const
{
    return TableMaker(*this).finish();
}

} // namespace tracewell
