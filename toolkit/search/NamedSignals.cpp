// SPDX-License-Identifier: BSD-3-Clause

#include "search/NamedSignals.h"

#include "text/Message.h"
#include "wave/NearestNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace tracewell {

namespace {

constexpr long long kMostBits = 1LL << 20;
constexpr int kWrongUsage = 2;

/// Without the backslash that some simulators leave in front of an escaped name.
std::string_view plain(std::string_view name)
{
    return !name.empty() && name[0] == '\\' ? name.substr(1) : name;
}

std::string plainScope(const Declarations& declarations, std::size_t scope)
{
    std::string path;
    for (; scope != kNoScope; scope = declarations.scopes[scope].parent) {
        path.insert(0, std::string(plain(declarations.scopes[scope].name)) + ".");
    }
    return path;
}

/// The number behind the last "#" of a name, which is cut off; 0 without one.
std::size_t takeNumber(std::string& path)
{
    constexpr std::size_t kMostDigits = 6;
    const std::size_t hash = path.rfind('#');
    if (hash == std::string::npos || hash == 0) {
        return 0;
    }
    const std::string digits = path.substr(hash + 1);
    if (digits.empty() || digits.size() > kMostDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    path.resize(hash);
    return std::stoul(digits);
}

std::string pathOf(const ExpressionTree& tree, std::size_t selects)
{
    std::string path = tree.text;
    for (std::size_t i = 0; i < selects; ++i) {
        path += tree.operands[i]->source;
    }
    return path;
}

} // namespace

NamedSignals::NamedSignals(const SignalNames& names, std::string scope) : m_names(names)
{
    while (!scope.empty() && scope.back() == '.') {
        scope.pop_back();
    }
    if (!scope.empty()) {
        const Declarations& declarations = names.declarations();
        std::size_t at = 0;
        std::string path;
        for (; at < declarations.scopes.size(); ++at) {
            path = plainScope(declarations, at);
            path.pop_back();
            if (path == scope || declarations.scopePath(at) == scope) {
                break;
            }
        }
        if (at == declarations.scopes.size()) {
            throw Failure(fmt::format("{}: no scope {}; {}", names.path(), quotation(scope),
                                      names.howToList()));
        }
        for (; at != kNoScope; at = declarations.scopes[at].parent) {
            m_scopes.push_back(plainScope(declarations, at));
        }
    }
    m_scopes.emplace_back();
}

void NamedSignals::want(const ExpressionTree& tree)
{
    if (tree.kind == ExpressionTree::Kind::Name) {
        for (std::size_t selects = 0; selects <= tree.operands.size(); ++selects) {
            std::string path = pathOf(tree, selects);
            for (int cut = 0; cut < 2; ++cut) {
                m_wanted.insert(path);
                for (std::size_t dot = path.find('.'); dot != std::string::npos;
                     dot = path.find('.', dot + 1)) {
                    m_wanted.insert(path.substr(dot + 1));
                }
                takeNumber(path);
            }
        }
    }
    for (const TreePointer& operand : tree.operands) {
        want(*operand);
    }
}

void NamedSignals::collect()
{
    const Declarations& declarations = m_names.declarations();
    for (std::size_t i = 0; i < declarations.variables.size(); ++i) {
        const Variable& variable = declarations.variables[i];
        const std::string name(plain(variable.name));
        if (m_wanted.count(name) > 0) {
            m_candidates.push_back({plainScope(declarations, variable.scope) + name, i});
        }
    }
    m_isCollected = true;
}

std::vector<std::size_t> NamedSignals::matches(const std::string& path, bool asEnd) const
{
    const std::string end = "." + path;
    std::vector<std::size_t> found;
    for (const Candidate& candidate : m_candidates) {
        const bool isMatch = asEnd ? candidate.path.size() > end.size() &&
                                         candidate.path.compare(candidate.path.size() - end.size(),
                                                                end.size(), end) == 0
                                   : candidate.path == path;
        if (isMatch) {
            found.push_back(candidate.variable);
        }
    }
    return found;
}

bool NamedSignals::find(const ExpressionText& text, const ExpressionTree& tree, NamedSignal& signal)
{
    if (!m_isCollected) {
        collect();
    }
    for (const std::string& scope : m_scopes) {
        for (std::size_t selects = tree.operands.size() + 1; selects-- > 0;) {
            if (take(text, tree, selects, matches(scope + pathOf(tree, selects), false), signal)) {
                return true;
            }
        }
    }
    for (std::size_t selects = tree.operands.size() + 1; selects-- > 0;) {
        std::string path = pathOf(tree, selects);
        if (take(text, tree, selects, matches(path, true), signal)) {
            return true;
        }
        // "name#2", as labels have it, is the second of those that share a name.
        const std::size_t number = takeNumber(path);
        if (number > 0) {
            std::map<std::string, std::vector<std::size_t>> byName;
            for (const bool asEnd : {false, true}) {
                byName.clear();
                for (const std::size_t variable : matches(path, asEnd)) {
                    byName[m_names.declarations().fullName(variable)].push_back(variable);
                }
                if (byName.size() == 1 && byName.begin()->second.size() >= number) {
                    takeOne(byName.begin()->second[number - 1], signal);
                    signal.selectsTaken = selects;
                    return true;
                }
            }
        }
    }
    return false;
}

bool NamedSignals::take(const ExpressionText& text, const ExpressionTree& tree, std::size_t selects,
                        const std::vector<std::size_t>& found, NamedSignal& signal) const
{
    if (found.empty()) {
        return false;
    }
    signal.selectsTaken = selects;
    const Declarations& declarations = m_names.declarations();
    const Variable& first = declarations.variables[found[0]];
    const bool isOne = std::all_of(found.begin(), found.end(), [&](std::size_t variable) {
        return declarations.variables[variable].object == first.object &&
               declarations.variables[variable].width == first.width;
    });
    if (isOne) {
        takeOne(found[0], signal);
        return true;
    }
    if (takeBits(found, signal)) {
        return true;
    }
    // A range tells those apart that have the same name in front of it.
    if (selects < tree.operands.size()) {
        std::vector<std::size_t> fitting;
        for (const std::size_t variable : found) {
            if (declarations.variables[variable].range.str() == tree.operands[selects]->source) {
                fitting.push_back(variable);
            }
        }
        if (fitting.size() == 1) {
            takeOne(fitting[0], signal);
            signal.selectsTaken = selects;
            return true;
        }
    }
    std::vector<std::string> labels;
    constexpr std::size_t kMostShown = 4;
    for (std::size_t i = 0; i < std::min(found.size(), kMostShown); ++i) {
        labels.push_back(inQuotes(declarations.fullName(found[i])));
    }
    try {
        text.refuse(fmt::format("{} signals go by the name {} ({}{}); write more of the name, or "
                                "\"\\NAME#2 \" for the second of a name; it stands",
                                found.size(), inQuotes(pathOf(tree, selects)),
                                fmt::join(labels, ", "), found.size() > kMostShown ? ", ..." : ""),
                    tree.place);
    } catch (const Failure& e) {
        throw SignalNameFailure(e.what(), e.exitCode());
    }
}

/// Bits that were declared one by one.
bool NamedSignals::takeBits(const std::vector<std::size_t>& found, NamedSignal& signal) const
{
    const Declarations& declarations = m_names.declarations();
    std::map<long long, std::uint32_t> bits;
    const std::size_t scope = declarations.variables[found[0]].scope;
    for (const std::size_t index : found) {
        const Variable& variable = declarations.variables[index];
        const std::optional<SliceArgument> slice = parseSlice("x" + variable.range.str());
        const auto object = static_cast<std::uint32_t>(variable.object);
        if (variable.scope != scope || !slice || slice->bits.left != slice->bits.right ||
            variable.width != 1 || !declarations.objects[object].kind->hasBits() ||
            !bits.emplace(slice->bits.left, object).second) {
            return false;
        }
    }
    const long long low = bits.begin()->first;
    const long long high = bits.rbegin()->first;
    if (low < -kMostBits || high > kMostBits || high - low >= kMostBits) {
        return false;
    }
    signal.range = {high, low};
    signal.width = static_cast<unsigned int>(high - low + 1);
    signal.kind = &kVector;
    signal.parts.clear();
    for (long long number = high; number >= low; --number) {
        const auto bit = bits.find(number);
        signal.parts.push_back(bit == bits.end() ? NamedSignal::Part{0, 0}
                                                 : NamedSignal::Part{bit->second, 1});
    }
    return true;
}

void NamedSignals::takeOne(std::size_t index, NamedSignal& signal) const
{
    const Declarations& declarations = m_names.declarations();
    const Variable& variable = declarations.variables[index];
    const Object& object = declarations.objects[variable.object];
    signal.kind = object.kind;
    signal.width = std::min(std::max(variable.width, 1u), object.width);
    signal.parts = {{static_cast<std::uint32_t>(variable.object), signal.width}};
    signal.isSigned = variable.isSigned || isSignedKeyword(variable.kind.str());
    signal.range = numbersOf(variable, signal.width);
    signal.enumeration = variable.enumeration == kNoEnumeration
                             ? nullptr
                             : &declarations.enumerations[variable.enumeration];
}

void NamedSignals::refuse(const ExpressionText& text, const ExpressionTree& tree) const
{
    std::string remedy = m_names.howToList();
    const std::vector<std::string> nearest = nearestNames(m_scopes.front() + tree.text, m_names);
    if (!nearest.empty()) {
        remedy = fmt::format("did you mean {}?", fmt::join(nearest, " or "));
    }
    throw SignalNameFailure(fmt::format("{}: {} has no signal {}; {}", text.source, m_names.path(),
                                        inQuotes(tree.text), remedy),
                            kWrongUsage);
}

} // namespace tracewell
