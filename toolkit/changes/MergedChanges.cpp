// SPDX-License-Identifier: BSD-3-Clause

#include "changes/MergedChanges.h"

#include "names/DeclarationsBuilder.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace tracewell {

namespace {

constexpr long long kNever = std::numeric_limits<long long>::max();

/// The unit as a count of ten to the power of `exponent` seconds; 0 when that is too large.
long long countOf(const Timescale& timescale, int exponent)
{
    auto count =
        static_cast<long long>(std::min(timescale.factor, static_cast<unsigned long long>(kNever)));
    for (int power = timescale.exponent - exponent; power > 0; --power) {
        if (__builtin_mul_overflow(count, 10LL, &count)) {
            return 0;
        }
    }
    return count;
}

/// An enumeration goes by the number at the end of its attribute, and so do references to it; each
/// part has its own numbers.
std::string renumbered(const std::string& text, std::size_t part)
{
    const std::size_t last = text.find_last_of(" \t\r\n");
    return text.rfind("misc 07", 0) == 0 && last != std::string::npos
               ? fmt::format("{}{}.{}", text.substr(0, last + 1), part, text.substr(last + 1))
               : text;
}

} // namespace

MergedChanges::MergedChanges(std::vector<Part> parts)
{
    for (Part& part : parts) {
        m_sources.push_back({std::move(part), 1, 0, false});
    }
    setUnits();
    const Declarations& first = m_sources.front().part.changes->declarations();
    m_declarations.date = first.date;
    m_declarations.version = first.version;
    for (Source& source : m_sources) {
        source.firstObject = static_cast<std::uint32_t>(m_declarations.objects.size());
        declare(source);
    }
}

void MergedChanges::setUnits()
{
    int exponent = std::numeric_limits<int>::max();
    for (const Source& source : m_sources) {
        exponent = std::min(exponent, source.part.changes->declarations().timescale.exponent);
    }
    long long unit = 0;
    for (Source& source : m_sources) {
        source.units = countOf(source.part.changes->declarations().timescale, exponent);
        if (source.units == 0) {
            throw Failure(fmt::format("{}: its timescale lies too far from those of the others to "
                                      "merge them",
                                      source.part.path));
        }
        unit = std::gcd(unit, source.units);
    }
    for (Source& source : m_sources) {
        source.units /= unit;
    }
    m_declarations.timescale = {static_cast<unsigned long long>(unit), exponent, true};
}

void MergedChanges::declare(const Source& source)
{
    using Item = Declarations::Item;
    const Declarations& part = source.part.changes->declarations();
    Declarations& all = m_declarations;
    const std::size_t number = static_cast<std::size_t>(&source - m_sources.data());
    std::size_t outer = kNoScope;
    if (!source.part.scope.empty()) {
        outer = all.scopes.size();
        all.items.push_back({Item::Kind::OpenScope, outer});
        all.scopes.push_back({"module", source.part.scope, kNoScope});
    }
    const std::size_t firstScope = all.scopes.size();
    const auto scopeHere = [&](std::size_t scope) {
        return scope == kNoScope ? outer : firstScope + scope;
    };
    const std::size_t firstVariable = all.variables.size();
    const std::size_t firstComment = all.comments.size();
    const std::size_t firstSection = all.sections.size();
    const std::size_t firstEnumeration = all.enumerations.size();
    for (const Scope& scope : part.scopes) {
        all.scopes.push_back({scope.kind, scope.name, scopeHere(scope.parent)});
    }
    for (const Object& object : part.objects) {
        all.objects.push_back({identifierCode(all.objects.size()), object.kind, object.width});
    }
    for (const Variable& variable : part.variables) {
        all.variables.push_back(variable);
        Variable& here = all.variables.back();
        here.scope = scopeHere(variable.scope);
        here.object += source.firstObject;
        here.enumeration += here.enumeration == kNoEnumeration ? 0 : firstEnumeration;
    }
    all.enumerations.insert(all.enumerations.end(), part.enumerations.begin(),
                            part.enumerations.end());
    all.comments.insert(all.comments.end(), part.comments.begin(), part.comments.end());
    for (const Declarations::Section& section : part.sections) {
        all.sections.push_back(
            {section.keyword, renumbered(section.text, number), section.isForNext});
    }
    for (Item item : part.items) {
        switch (item.kind) {
        case Item::Kind::OpenScope:
        case Item::Kind::CloseScope:
            item.index += firstScope;
            break;
        case Item::Kind::Variable:
            item.index += firstVariable;
            break;
        case Item::Kind::Comment:
            item.index += firstComment;
            break;
        case Item::Kind::Section:
            item.index += firstSection;
            break;
        }
        all.items.push_back(item);
    }
    if (outer != kNoScope) {
        all.items.push_back({Item::Kind::CloseScope, outer});
    }
}

long long MergedChanges::scaled(const Source& source, long long time)
{
    long long there = 0;
    if (__builtin_mul_overflow(time, source.units, &there)) {
        throw Failure(fmt::format("{}: a time lies beyond what the finest timescale of the runs "
                                  "can tell; end before it with --to",
                                  source.part.path));
    }
    return there;
}

void MergedChanges::select(const ChangeSelection& selection)
{
    for (Source& source : m_sources) {
        ChangeSelection part;
        // Rounded up: what comes first is this time's or later.
        part.from = selection.from / source.units + (selection.from % source.units != 0 ? 1 : 0);
        if (selection.objects) {
            part.objects.emplace();
            const auto count = source.part.changes->declarations().objects.size();
            for (const std::uint32_t object : *selection.objects) {
                if (object >= source.firstObject && object - source.firstObject < count) {
                    part.objects->push_back(object - source.firstObject);
                }
            }
        }
        source.part.changes->select(part);
    }
}

bool MergedChanges::peek(long long& time)
{
    bool isThere = false;
    for (Source& source : m_sources) {
        long long own = 0;
        if (source.part.changes->peek(own)) {
            own = scaled(source, own);
            time = isThere ? std::min(time, own) : own;
            isThere = true;
        }
    }
    return isThere;
}

bool MergedChanges::advance()
{
    m_changed.clear();
    if (!peek(m_time)) {
        return false;
    }
    for (Source& source : m_sources) {
        long long own = 0;
        source.isMoved = source.part.changes->peek(own) && scaled(source, own) == m_time;
        if (source.isMoved && source.part.changes->advance()) {
            for (const std::uint32_t object : source.part.changes->changed()) {
                m_changed.push_back(source.firstObject + object);
            }
        }
    }
    return !m_changed.empty();
}

MergedChanges::Source& MergedChanges::sourceOf(std::uint32_t object)
{
    return const_cast<Source&>(std::as_const(*this).sourceOf(object));
}

const MergedChanges::Source& MergedChanges::sourceOf(std::uint32_t object) const
{
    const auto behind = std::upper_bound(
        m_sources.begin(), m_sources.end(), object,
        [](std::uint32_t wanted, const Source& source) { return wanted < source.firstObject; });
    return *std::prev(behind);
}

void MergedChanges::appendChange(std::string& out, std::uint32_t object)
{
    const Object& declared = m_declarations.objects[object];
    const std::size_t start = out.size();
    appendValue(out, object);
    if (out.size() == start) {
        return;
    }
    out.append(out.size() - start > 1 ? " " : "").append(declared.code).append("\n");
    const std::string line = out.substr(start);
    for (unsigned long long i = 1; declared.kind->fires() && i < firings(object); ++i) {
        out += line;
    }
}

void MergedChanges::appendValue(std::string& out, std::uint32_t object)
{
    Source& source = sourceOf(object);
    source.part.changes->appendValue(out, object - source.firstObject);
}

const unsigned char* MergedChanges::plainValue(std::uint32_t object) const
{
    const Source& source = sourceOf(object);
    return source.part.changes->plainValue(object - source.firstObject);
}

unsigned long long MergedChanges::firings(std::uint32_t object) const
{
    const Source& source = sourceOf(object);
    return source.isMoved ? source.part.changes->firings(object - source.firstObject) : 0;
}

long long MergedChanges::latestTime() const
{
    long long latest = 0;
    for (const Source& source : m_sources) {
        latest = std::max(latest, scaled(source, source.part.changes->latestTime()));
    }
    return latest;
}

/// Where one lacks something, the others are whole.
long long MergedChanges::end() const
{
    long long end = kNever;
    for (const Source& source : m_sources) {
        const long long own = source.part.changes->end();
        end = std::min(end, own == kNever ? kNever : scaled(source, own));
    }
    return end;
}

double MergedChanges::progress() const
{
    double progress = 1;
    for (const Source& source : m_sources) {
        progress = std::min(progress, source.part.changes->progress());
    }
    return progress;
}

std::vector<std::string> MergedChanges::linesOf(std::vector<std::string> (Shortfalls::*lines)()
                                                    const) const
{
    std::vector<std::string> all;
    for (const Source& source : m_sources) {
        for (const std::string& line : ((*source.part.changes).*lines)()) {
            all.push_back(fmt::format("{}: {}", source.part.path, line));
        }
    }
    return all;
}

std::vector<std::string> MergedChanges::shortfalls() const
{
    return linesOf(&Shortfalls::shortfalls);
}

std::vector<std::string> MergedChanges::notices() const
{
    return linesOf(&Shortfalls::notices);
}

} // namespace tracewell
