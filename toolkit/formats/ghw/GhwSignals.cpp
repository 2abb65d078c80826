// SPDX-License-Identifier: BSD-3-Clause

#include "formats/ghw/GhwSignals.h"

#include "formats/vcd/VcdDeclarations.h"
#include "values/ValueKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace tracewell {

namespace {

// What an entry of the hierarchy is.
constexpr unsigned int kEnd = 0;
constexpr unsigned int kDesign = 1;
constexpr unsigned int kBlock = 3;
constexpr unsigned int kGenerateIf = 4;
constexpr unsigned int kGenerateFor = 5;
constexpr unsigned int kInstance = 6;
constexpr unsigned int kPackage = 7;
constexpr unsigned int kProcess = 13;
constexpr unsigned int kGeneric = 14;
constexpr unsigned int kEndOfScope = 15;
constexpr unsigned int kSignal = 16;
constexpr unsigned int kPortIn = 17;
constexpr unsigned int kPortLinkage = 21;

const char* scopeWord(unsigned int kind)
{
    switch (kind) {
    case kBlock:
        return "vhdl_block";
    case kGenerateIf:
        return "vhdl_if_generate";
    case kGenerateFor:
        return "vhdl_for_generate";
    case kPackage:
        return "vhdl_package";
    default:
        return "vhdl_architecture";
    }
}

Direction directionOf(unsigned int kind)
{
    switch (kind) {
    case kPortIn:
        return Direction::Input;
    case kPortIn + 1:
        return Direction::Output;
    case kPortIn + 2:
        return Direction::Inout;
    case kPortIn + 3:
        return Direction::Buffer;
    case kPortLinkage:
        return Direction::Linkage;
    default:
        return Direction::None;
    }
}

/// As it is written in a source: numeric_std declares its types by longer names.
std::string_view typeName(const GhwType& type)
{
    constexpr std::string_view kUnresolved = "unresolved_";
    const std::string_view name = type.name;
    return name.substr(0, kUnresolved.size()) == kUnresolved ? name.substr(kUnresolved.size())
                                                             : name;
}

unsigned int bitsFor(std::size_t literals)
{
    unsigned int bits = 1;
    while (bits < 32 && (std::size_t{1} << bits) < literals) {
        ++bits;
    }
    return bits;
}

bool isVector(const GhwType& type)
{
    return type.kind == GhwType::Kind::Array && type.ranges.size() == 1 &&
           (type.element->isLogic || type.element->isBit);
}

bool isText(const GhwType& type)
{
    return type.kind == GhwType::Kind::Array && type.ranges.size() == 1 &&
           type.element->isCharacter;
}

} // namespace

GhwHierarchy::GhwHierarchy(GhwInput& input, GhwTypes& types)
    : m_input(input), m_types(types), m_builder("", Timescale{1, -15, true})
{
    m_signals.types.resize(1);
}

GhwSignals GhwHierarchy::read()
{
    if (m_input.number32() != 0) {
        m_input.fail("the hierarchy begins in a way that no version of the format has; the file is "
                     "damaged, dump it again");
    }
    m_input.number32();
    m_input.number32();
    m_scalarCount = std::uint64_t{m_input.number32()} + 1;
    for (unsigned int kind = m_input.byte(); kind != kEnd; kind = m_input.byte()) {
        switch (kind) {
        case kDesign:
        case kBlock:
        case kGenerateIf:
        case kGenerateFor:
        case kInstance:
        case kPackage:
            readScope(kind);
            break;
        case kProcess:
            // Nothing is in it.
            m_types.readName();
            break;
        case kEndOfScope:
            if (m_depth > 0) {
                --m_depth;
                m_builder.closeScopeIfUsed();
            }
            break;
        default:
            if (kind != kGeneric && kind != kSignal && (kind < kPortIn || kind > kPortLinkage)) {
                m_input.fail(fmt::format("an entry of kind {} in the hierarchy, which is not "
                                         "known; the file is damaged, dump it again",
                                         kind));
            }
            readSignal(kind);
            break;
        }
    }
    m_signals.declarations = m_builder.finish();
    return std::move(m_signals);
}

void GhwHierarchy::readScope(unsigned int kind)
{
    std::string name = m_types.readName();
    if (kind == kGenerateFor) {
        const GhwType& type = m_types.readReference();
        const std::int64_t value = m_types.readValue(type);
        const auto index = static_cast<std::size_t>(value);
        name += type.kind == GhwType::Kind::Enumeration && index < type.literals.size()
                    ? fmt::format("({})", type.literals[index])
                    : fmt::format("({})", value);
    }
    if (++m_depth > kMaxScopeDepth) {
        m_input.fail(fmt::format("scopes are nested more than {} deep; dump a part of the design",
                                 kMaxScopeDepth));
    }
    m_builder.openScope(scopeWord(kind), name);
}

void GhwHierarchy::readSignal(unsigned int kind)
{
    const std::string name = m_types.readName();
    const GhwType& type = m_types.readReference();
    if (type.scalars == GhwType::kUnbounded) {
        m_input.fail("a signal of a type without bounds; the file is damaged, dump it again");
    }
    std::vector<std::uint32_t> scalars;
    readScalars(type, scalars);
    m_direction = directionOf(kind);
    const std::uint32_t* at = scalars.data();
    declare(name, type, at);
}

/// The numbers of a signal's scalars, the first one of an array or record first. Each takes a byte
/// of the file at least, so what a type claims is no danger.
void GhwHierarchy::readScalars(const GhwType& type, std::vector<std::uint32_t>& out)
{
    if (type.scalars == 0) {
        return;
    }
    switch (type.kind) {
    case GhwType::Kind::Array:
        for (std::uint64_t i = type.scalars / type.element->scalars; i > 0; --i) {
            readScalars(*type.element, out);
        }
        break;
    case GhwType::Kind::Record:
        for (const GhwType::Field& field : type.fields) {
            readScalars(*field.type, out);
        }
        break;
    default:
        out.push_back(readScalar(type));
        break;
    }
}

std::uint32_t GhwHierarchy::readScalar(const GhwType& type)
{
    const std::uint64_t number = m_input.uleb();
    // Numbers are given one after the other.
    if (number == 0 || number >= m_scalarCount || number > m_input.position()) {
        m_input.fail("a signal that there is not; the file is damaged, dump it again");
    }
    const auto scalar = static_cast<std::uint32_t>(number);
    if (scalar >= m_signals.types.size()) {
        m_signals.types.resize(std::size_t{scalar} + 1);
    }
    const GhwType*& known = m_signals.types[scalar];
    if (known != nullptr && known->kind != type.kind) {
        m_input.fail("a signal of two types; the file is damaged, dump it again");
    }
    known = known == nullptr ? &type : known;
    return scalar;
}

void GhwHierarchy::declare(const std::string& name, const GhwType& type,
                           const std::uint32_t*& scalars)
{
    if (type.scalars == 0) {
        return;
    }
    switch (type.kind) {
    case GhwType::Kind::Array:
        declareArray(name, type, scalars);
        break;
    case GhwType::Kind::Record:
        m_builder.openScope("vhdl_record", name);
        for (const GhwType::Field& field : type.fields) {
            declare(field.name, *field.type, scalars);
        }
        m_builder.closeScope();
        break;
    default:
        declareScalar(name, type, *scalars++);
        break;
    }
}

void GhwHierarchy::declareArray(const std::string& name, const GhwType& type,
                                const std::uint32_t*& scalars)
{
    if ((isVector(type) || isText(type)) && type.scalars <= kMaxWidth) {
        declareVector(name, type, scalars);
        scalars += type.scalars;
        return;
    }
    // Element by element, the last index the fastest.
    std::vector<std::int64_t> indices;
    for (const GhwRange& range : type.ranges) {
        indices.push_back(range.left);
    }
    for (std::uint64_t left = type.scalars / type.element->scalars; left > 0; --left) {
        declare(fmt::format("{}({})", name, fmt::join(indices, ",")), *type.element, scalars);
        for (std::size_t i = indices.size(); i-- > 0;) {
            const GhwRange& range = type.ranges[i];
            if (indices[i] != range.right) {
                indices[i] += range.isDownward ? -1 : 1;
                break;
            }
            indices[i] = range.left;
        }
    }
}

void GhwHierarchy::declareVector(const std::string& name, const GhwType& type,
                                 const std::uint32_t* scalars)
{
    const auto count = static_cast<std::uint32_t>(type.scalars);
    GhwSignals::Object object;
    object.count = count;
    if (isText(type)) {
        object.form = GhwSignals::Form::Text;
        addObject("string", name, "", 1, type, object, scalars);
        return;
    }
    object.form = type.element->isLogic ? GhwSignals::Form::Logic : GhwSignals::Form::Bit;
    const GhwRange& range = type.ranges.front();
    if (typeName(type) == "signed") {
        m_builder.setSigned();
    }
    addObject("reg", name, fmt::format("[{}:{}]", range.left, range.right), count, type, object,
              scalars);
}

void GhwHierarchy::declareScalar(const std::string& name, const GhwType& type, std::uint32_t scalar)
{
    GhwSignals::Object object;
    object.count = 1;
    const char* keyword = "reg";
    unsigned int width = 1;
    switch (type.kind) {
    case GhwType::Kind::Real:
        object.form = GhwSignals::Form::Real;
        keyword = "real";
        width = 64;
        break;
    case GhwType::Kind::Integer:
        keyword = "integer";
        width = 32;
        break;
    case GhwType::Kind::Long:
        keyword = "longint";
        width = 64;
        break;
    default:
        if (type.isLogic) {
            object.form = GhwSignals::Form::Logic;
        } else if (type.isBit) {
            object.form = GhwSignals::Form::Bit;
        } else {
            width = bitsFor(type.literals.size());
            m_builder.setEnumeration(enumerationOf(type, width));
        }
        break;
    }
    object.width = static_cast<std::uint8_t>(width);
    addObject(keyword, name, "", width, type, object, &scalar);
}

void GhwHierarchy::addObject(const std::string& keyword, const std::string& name,
                             const std::string& range, unsigned int width, const GhwType& type,
                             const GhwSignals::Object& object, const std::uint32_t* scalars)
{
    m_builder.setDirection(m_direction);
    m_builder.setType(typeName(type));
    std::string key(1, static_cast<char>(object.form));
    key += keyword;
    key.append(reinterpret_cast<const char*>(scalars), object.count * sizeof *scalars);
    const auto known = m_known.find(key);
    if (known != m_known.end()) {
        m_builder.addAlias(keyword, name, range, width, known->second);
        return;
    }
    const std::uint32_t number =
        m_builder.addVariable(keyword, name, range, width, declaredKind(keyword, width));
    m_known.emplace(std::move(key), number);
    m_signals.objects.push_back(object);
    m_signals.objects.back().first = static_cast<std::uint32_t>(m_signals.scalars.size());
    m_signals.scalars.insert(m_signals.scalars.end(), scalars, scalars + object.count);
}

std::size_t GhwHierarchy::enumerationOf(const GhwType& type, unsigned int width)
{
    std::vector<std::string> key = type.literals;
    key.push_back(type.name);
    const auto [place, isNew] = m_enumerations.try_emplace(std::move(key), 0);
    if (isNew) {
        std::vector<std::pair<std::string, std::string>> values;
        for (std::size_t i = 0; i < type.literals.size(); ++i) {
            std::string letters;
            for (unsigned int bit = width; bit-- > 0;) {
                letters += (i >> bit & 1) != 0 ? '1' : '0';
            }
            values.emplace_back(letters, type.literals[i]);
        }
        place->second =
            m_builder.addEnumeration(type.name.empty() ? "enumeration" : type.name, values);
    }
    return place->second;
}

} // namespace tracewell
