// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/DeclarationText.h"

#include "formats/vcd/VcdDeclarations.h"
#include "formats/vcd/VcdInput.h"

#include <fmt/format.h>

#include <iterator>

namespace tracewell {

namespace {

/// As VCD readers expect it: a whole number and a unit.
std::string timescaleText(const Timescale& timescale)
{
    static constexpr const char* kUnits[] = {"s", "ms", "us", "ns", "ps", "fs", "as", "zs"};
    constexpr int kLast = static_cast<int>(std::size(kUnits)) - 1;
    int unit = 0;
    while (unit < kLast && -3 * unit > timescale.exponent) {
        ++unit;
    }
    std::string zeros;
    std::string decimals;
    if (timescale.exponent >= -3 * unit) {
        zeros.assign(static_cast<std::size_t>(timescale.exponent + 3 * unit), '0');
        return fmt::format("{}{} {}", timescale.factor, zeros, kUnits[unit]);
    }
    // Finer than the finest unit: 0.01 zs.
    const auto places = static_cast<std::size_t>(-3 * unit - timescale.exponent);
    std::string digits = fmt::format("{}", timescale.factor);
    if (digits.size() <= places) {
        digits.insert(0, places + 1 - digits.size(), '0');
    }
    digits.insert(digits.size() - places, 1, '.');
    return digits + ' ' + kUnits[unit];
}

void addSection(std::string& out, std::string_view keyword, std::string_view text)
{
    out.append(keyword).append(1, ' ').append(text);
    out += text.empty() ? "$end\n" : " $end\n";
}

void addVariable(std::string& out, const Declarations& table, const Variable& variable)
{
    fmt::format_to(std::back_inserter(out), "$var {} {} {} {}", variable.kind.str(), variable.width,
                   table.objects[variable.object].code, variable.name);
    if (!variable.range.empty()) {
        out.append(variable.rangeAttached ? "" : " ").append(variable.range.str());
    }
    out += " $end\n";
}

} // namespace

Declarations parseDeclarations(std::string_view text)
{
    VcdInput input(text, "the name table");
    return readDeclarations(input);
}

std::string writeDeclarations(const Declarations& declarations)
{
    using Kind = Declarations::Item::Kind;
    std::string out;
    // More than usual names take: what is not used is never touched, where growing would copy.
    out.reserve(64 * declarations.items.size());
    if (!declarations.date.empty()) {
        addSection(out, "$date", declarations.date);
    }
    if (!declarations.version.empty()) {
        addSection(out, "$version", declarations.version);
    }
    if (declarations.timescale.stated) {
        addSection(out, "$timescale", timescaleText(declarations.timescale));
    }
    for (const Declarations::Item& item : declarations.items) {
        switch (item.kind) {
        case Kind::OpenScope:
            addSection(out, "$scope " + declarations.scopes[item.index].kind,
                       declarations.scopes[item.index].name);
            break;
        case Kind::CloseScope:
            addSection(out, "$upscope", "");
            break;
        case Kind::Variable:
            addVariable(out, declarations, declarations.variables[item.index]);
            break;
        case Kind::Comment:
            addSection(out, "$comment", declarations.comments[item.index]);
            break;
        case Kind::Section:
            addSection(out, declarations.sections[item.index].keyword,
                       declarations.sections[item.index].text);
            break;
        }
    }
    out += "$enddefinitions $end\n";
    return out;
}

} // namespace tracewell
