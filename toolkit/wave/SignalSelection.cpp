// SPDX-License-Identifier: BSD-3-Clause

#include "wave/SignalSelection.h"

#include "text/Failure.h"
#include "text/Utf8.h"
#include "wave/NearestNames.h"
#include "wave/SignalSlice.h"
#include "wave/VariableNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace tracewell {

namespace {

/// Every byte of a run gets a tree of its own.
constexpr long long kLongestRun = 65536;

Signal makeSignal(const SignalNames& file, VariableNames& names, const NameNumbers& numbers,
                  std::size_t index)
{
    const Declarations& declarations = file.declarations();
    const Variable& variable = declarations.variables[index];
    const Object& object = declarations.objects[variable.object];

    Signal signal;
    names.goTo(index);
    signal.scope = names.printableScope();
    signal.label = names.printableFull();
    signal.label += numbers.of(index);
    signal.kind = printable(variable.kind.str());
    signal.direction = spell(variable.direction);
    signal.type = printable(variable.type.str());
    signal.valueKind = object.kind;
    signal.isSigned = variable.isSigned;
    if (variable.enumeration != kNoEnumeration) {
        signal.enumeration = &declarations.enumerations[variable.enumeration];
    }
    signal.width = std::min(std::max(variable.width, 1u), object.width);
    signal.address = file.layout().addressOf(variable.object);
    // A variable that is narrower than the object it shares needs the object's first groups alone.
    signal.size = DataLayout::sizeOf({{}, object.kind, signal.width});
    signal.overrideAddress = file.layout().overrideOf(variable.object);
    if (file.places() == SignalNames::Places::Objects) {
        signal.firstId = file.transitionLayout().idOf(variable.object);
        signal.idCount = TransitionLayout::countOf({{}, object.kind, signal.width});
        signal.nineStateOffset = file.transitionLayout().nineStateOffset();
    }
    return signal;
}

std::optional<long long> parseNumber(std::string_view text)
{
    const bool hex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    text.remove_prefix(hex ? 2 : 0);
    long long value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < 0) {
        return std::nullopt;
    }
    return value;
}

long long largestPlace(const SignalNames& file)
{
    return file.places() == SignalNames::Places::Bytes
               ? std::numeric_limits<long long>::max() - kLongestRun
               : std::numeric_limits<std::int32_t>::max();
}

/// What "@PLACE" or "@PLACE:COUNT" stands for.
struct PlaceRun
{
    long long first;
    long long count;
};

PlaceRun parsePlaceRun(const SignalNames& file, const std::string& argument)
{
    const std::size_t colon = argument.find(':');
    const std::optional<long long> address = parseNumber(
        std::string_view(argument).substr(1, colon == std::string::npos ? colon : colon - 1));
    const std::optional<long long> size =
        colon == std::string::npos ? 1 : parseNumber(std::string_view(argument).substr(colon + 1));
    if (!address || !size || *size < 1 || *size > kLongestRun ||
        *address > largestPlace(file) - *size + 1) {
        const bool isBytes = file.places() == SignalNames::Places::Bytes;
        throw Failure(fmt::format(
            "{}: \"{}\" is no place in {}; ask for {}, at most {}, as in @0x40:4", file.path(),
            printable(argument), isBytes ? "the data memory" : "a transition database",
            file.howToAskByPlace(), kLongestRun));
    }
    return {*address, *size};
}

Signal makeByteRun(const PlaceRun& run)
{
    Signal signal;
    signal.label = run.count == 1 ? fmt::format("@{}", run.first)
                                  : fmt::format("@{}:{}", run.first, run.count);
    signal.kind = "bytes";
    signal.valueKind = &kBytes;
    signal.width = static_cast<unsigned int>(run.count) * 8;
    signal.address = run.first;
    signal.size = run.count;
    return signal;
}

Signal makeObject(long long id)
{
    Signal signal;
    signal.label = fmt::format("@{}", id);
    signal.kind = "object";
    signal.valueKind = &kObject;
    signal.width = 64;
    signal.size = 8;
    signal.firstId = static_cast<std::uint32_t>(id);
    signal.idCount = 1;
    return signal;
}

/// The variables by their names, in every spelling that an argument may use.
class NameIndex
{
public:
    /// Both outlive it.
    NameIndex(const SignalNames& file, const std::vector<std::string>& arguments)
        : m_file(file), m_names(file.declarations()), m_numbers(file.declarations())
    {
        for (const std::string& argument : arguments) {
            const std::string_view name = withoutLeadingDot(argument);
            m_variables[name];
            m_variables[withoutFirst(name)];
            if (const std::optional<SliceArgument> slice = parseSlice(name)) {
                const std::string_view vector = name.substr(0, slice->name.size());
                m_variables[vector];
                m_variables[withoutFirst(vector)];
            }
        }
        for (std::size_t i = 0; i < size(); ++i) {
            m_names.goTo(i);
            const std::string& number = m_numbers.of(i);
            add(m_names.full(), number, i);
            // Most have one spelling, or two, and a million of them are looked up.
            const bool hasRange = m_names.plain().size() < m_names.full().size();
            if (hasRange) {
                add(m_names.plain(), number, i);
            }
            if (!m_names.isPrintable()) {
                add(m_names.printableFull(), number, i);
                add(m_names.printablePlain(), number, i);
            }
        }
    }

    /// Variables of just this name, which is that of an argument it was made for, or of a slice's
    /// vector.
    std::vector<std::size_t> find(std::string_view name) const
    {
        name = withoutLeadingDot(name);
        if (const auto& exact = variablesOf(name); !exact.empty()) {
            return exact;
        }
        const auto& first = variablesOf(withoutFirst(name));
        return first.empty() ? first : std::vector<std::size_t>{first.front()};
    }

    /// Variables in a scope and those below it.
    std::vector<std::size_t> findInScope(std::string_view name)
    {
        std::string scope = printable(withoutLeadingDot(name));
        if (!scope.empty() && scope.back() != '.') {
            scope += '.';
        }
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < size(); ++i) {
            m_names.goTo(i);
            if (m_names.printableScope().compare(0, scope.size(), scope) == 0) {
                found.push_back(i);
            }
        }
        return found;
    }

    std::vector<std::size_t> findPattern(std::string_view name)
    {
        name = withoutLeadingDot(name);
        std::vector<std::size_t> found;
        if (name.find_first_of("*?") == std::string_view::npos) {
            return found;
        }
        std::string label;
        for (std::size_t i = 0; i < size(); ++i) {
            m_names.goTo(i);
            label.assign(m_names.printableFull()).append(m_numbers.of(i));
            if (matchesGlob(name, label) || matchesGlob(name, m_names.printablePlain())) {
                found.push_back(i);
            }
        }
        return found;
    }

    Signal signal(std::size_t variable) { return makeSignal(m_file, m_names, m_numbers, variable); }

    /// The label without the range.
    std::string plainLabel(std::size_t variable)
    {
        m_names.goTo(variable);
        // What stands behind the name in the label, "#2" for one, may follow either form.
        return std::string(m_names.printablePlain()) + m_numbers.of(variable);
    }

private:
    static std::string_view withoutLeadingDot(std::string_view name)
    {
        return name.size() > 1 && name[0] == '.' ? name.substr(1) : name;
    }

    /// "name" for "name#1", the first of several with a name; empty for anything else.
    static std::string_view withoutFirst(std::string_view name)
    {
        const bool isFirst = name.size() > 2 && name.substr(name.size() - 2) == "#1";
        return isFirst ? name.substr(0, name.size() - 2) : std::string_view();
    }

    const std::vector<std::size_t>& variablesOf(std::string_view name) const
    {
        const auto wanted = m_variables.find(name);
        return wanted == m_variables.end() ? m_none : wanted->second;
    }

    std::size_t size() const { return m_file.declarations().variables.size(); }

    void add(std::string_view name, const std::string& number, std::size_t variable)
    {
        add(name, variable);
        if (!number.empty()) {
            add(std::string(name) + number, variable);
        }
    }

    void add(std::string_view name, std::size_t variable)
    {
        const auto wanted = m_variables.find(name);
        if (wanted != m_variables.end() &&
            (wanted->second.empty() || wanted->second.back() != variable)) {
            wanted->second.push_back(variable);
        }
    }

    const SignalNames& m_file;
    VariableNames m_names;
    NameNumbers m_numbers;
    const std::vector<std::size_t> m_none;
    /// Of the names that are asked for, as they lie in the arguments.
    std::unordered_map<std::string_view, std::vector<std::size_t>> m_variables;
};

[[noreturn]] void failToFind(const SignalNames& file, const std::string& argument)
{
    if (file.declarations().variables.empty()) {
        throw Failure(fmt::format("{}: no signal \"{}\", since its names declare none; record "
                                  "the run again with signals in it",
                                  file.path(), printable(argument)));
    }
    std::string remedy = file.howToList();
    const std::vector<std::string> nearest = nearestNames(printable(argument), file);
    if (!nearest.empty()) {
        remedy = fmt::format("did you mean {}?", fmt::join(nearest, " or "));
    }
    throw Failure(
        fmt::format("{}: no signal \"{}\"; {}", file.path(), printable(argument), remedy));
}

} // namespace

bool matchesGlob(std::string_view pattern, std::string_view text)
{
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starText = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starText = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::vector<Signal> allSignals(const SignalNames& file)
{
    VariableNames names(file.declarations());
    const NameNumbers numbers(file.declarations());
    std::vector<Signal> signals;
    signals.reserve(file.declarations().variables.size());
    for (std::size_t i = 0; i < file.declarations().variables.size(); ++i) {
        signals.push_back(makeSignal(file, names, numbers, i));
    }
    return signals;
}

std::uint32_t objectOf(const SignalNames& file, const Signal& signal)
{
    return static_cast<std::uint32_t>((signal.overrideAddress - file.layout().overrideStart()) /
                                      static_cast<long long>(sizeof(TextReference)));
}

std::vector<Signal> selectSignals(const SignalNames& file,
                                  const std::vector<std::string>& arguments)
{
    NameIndex index(file, arguments);
    std::vector<Signal> selected;
    std::unordered_set<std::string> taken;
    const auto take = [&](Signal signal) {
        if (taken.insert(signal.label).second) {
            selected.push_back(std::move(signal));
        }
    };
    const auto takeAll = [&](const std::vector<std::size_t>& found) {
        for (const std::size_t variable : found) {
            take(index.signal(variable));
        }
        return !found.empty();
    };
    const auto takeSlices = [&](const std::string& argument) {
        const std::optional<SliceArgument> slice = parseSlice(argument);
        const std::vector<std::size_t> vectors =
            slice ? index.find(slice->name) : std::vector<std::size_t>();
        for (const std::size_t variable : vectors) {
            take(makeSlice(file, index.signal(variable), file.declarations().variables[variable],
                           index.plainLabel(variable), slice->bits));
        }
        return !vectors.empty();
    };
    for (const std::string& argument : arguments) {
        if (argument.empty()) {
            throw Failure(fmt::format("{}: the name of a signal is empty; name one, or * for all",
                                      file.path()));
        }
        if (takeAll(index.find(argument)) || takeSlices(argument) ||
            takeAll(index.findPattern(argument)) || takeAll(index.findInScope(argument))) {
            continue;
        }
        if (!argument.empty() && argument[0] == '@') {
            const PlaceRun run = parsePlaceRun(file, argument);
            if (file.places() == SignalNames::Places::Bytes) {
                take(makeByteRun(run));
                continue;
            }
            for (long long id = run.first; id < run.first + run.count; ++id) {
                take(makeObject(id));
            }
        } else if (!file.hasNames()) {
            throw Failure(fmt::format("{}: no signal can be found by its name, {}; ask for {}",
                                      file.path(), file.whyNoNames(), file.howToAskByPlace()));
        } else {
            failToFind(file, argument);
        }
    }
    return selected;
}

} // namespace tracewell
