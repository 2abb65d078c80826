// SPDX-License-Identifier: BSD-3-Clause

#include "diff/SignalPairs.h"

#include "text/Failure.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace tracewell {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// One run's signals: all variables, then bits of them that are asked for.
struct Side
{
    explicit Side(const SignalNames& file) : names(file), signals(allSignals(file))
    {
        std::unordered_map<std::string, unsigned int> seen;
        places.reserve(signals.size());
        for (std::size_t i = 0; i < signals.size(); ++i) {
            variables.push_back(i);
            places.push_back(placeOf(i));
            if (const unsigned int number = ++seen[places.back()]; number > 1) {
                places.back() += fmt::format("{}{}", kBetweenNames, number);
            }
        }
    }

    const Variable& variable(std::size_t i) const { return names.declarations().variables[i]; }
    std::string fullName(std::size_t i) const { return names.declarations().fullName(i); }

    /// The names of the variable and of the scopes around it.
    std::string placeOf(std::size_t i) const
    {
        const Declarations& table = names.declarations();
        std::string place = variable(i).name + variable(i).range.str();
        for (std::size_t at = variable(i).scope; at != kNoScope; at = table.scopes[at].parent) {
            place.insert(0, table.scopes[at].name + kBetweenNames);
        }
        return place;
    }

    static std::string withoutRange(std::string name, std::size_t rangeEnd,
                                    const std::string& range)
    {
        return name.erase(rangeEnd - range.size(), range.size());
    }
    std::string plainPlace(std::size_t i) const
    {
        if (!signals[i].whole.empty()) {
            return places[i];
        }
        return withoutRange(places[i], placeOf(i).size(), variable(i).range.str());
    }
    /// The label without the range.
    std::string plainName(std::size_t i) const
    {
        if (!signals[i].whole.empty()) {
            return signals[i].label;
        }
        return withoutRange(signals[i].label, printable(fullName(i)).size(),
                            printable(variable(i).range.str()));
    }

    std::optional<std::size_t> find(const std::string& label) const
    {
        const auto found = std::find_if(signals.begin(), signals.end(), [&](const Signal& signal) {
            return signal.label == label;
        });
        return found == signals.end()
                   ? std::nullopt
                   : std::optional(static_cast<std::size_t>(found - signals.begin()));
    }

    /// Bits of a vector become a signal of their own, once.
    void addSlice(const Signal& slice)
    {
        if (!find(slice.label)) {
            const std::size_t whole = find(slice.whole).value();
            variables.push_back(whole);
            places.push_back(plainPlace(whole) + slice.label.substr(slice.label.rfind('[')));
            signals.push_back(slice);
        }
    }

    /// No name has it. What is joined by dots can read like another.
    static constexpr char kBetweenNames = '\n';

    const SignalNames& names;
    std::vector<Signal> signals;
    /// The places of signals, in the order of these, each once.
    std::vector<std::string> places;
    /// By signal: the variable that it is, or is a part of.
    std::vector<std::size_t> variables;
    /// Whether a signal is compared, in the order of signals.
    std::vector<char> isWanted;
};

/// Adds the places of the signals that an argument names in a run. False when it fits nothing
/// there.
bool addPlaces(Side& side, const std::string& argument, std::unordered_set<std::string>& places)
{
    try {
        std::unordered_set<std::string> labels;
        for (const Signal& signal : selectSignals(side.names, {argument})) {
            labels.insert(signal.label);
            if (!signal.whole.empty()) {
                side.addSlice(signal);
            }
        }
        for (std::size_t i = 0; i < side.signals.size(); ++i) {
            if (labels.find(side.signals[i].label) != labels.end()) {
                places.insert(side.places[i]);
            }
        }
        return true;
    } catch (const Failure&) {
        // The other run may know it.
        return false;
    }
}

void chooseSignals(Side& a, Side& b, const std::vector<std::string>& arguments)
{
    std::unordered_set<std::string> places;
    for (const std::string& argument : arguments) {
        if (!argument.empty() && argument[0] == '@') {
            throw Failure(fmt::format("\"{}\" is a place in one file; two runs are compared "
                                      "by the names of their signals",
                                      printable(argument)));
        }
        const bool isInA = addPlaces(a, argument, places);
        const bool isInB = addPlaces(b, argument, places);
        if (!isInA && !isInB) {
            selectSignals(a.names, {argument});
        }
    }
    for (Side* side : {&a, &b}) {
        side->isWanted.assign(side->signals.size(), arguments.empty());
        for (std::size_t i = 0; i < side->signals.size() && !arguments.empty(); ++i) {
            side->isWanted[i] = places.find(side->places[i]) != places.end();
        }
    }
}

void leaveOut(Side& side, const std::vector<std::string>& patterns)
{
    if (patterns.empty()) {
        return;
    }
    for (std::size_t i = 0; i < side.signals.size(); ++i) {
        const std::string plain = side.plainName(i);
        for (const std::string& pattern : patterns) {
            if (matchesGlob(pattern, side.signals[i].label) || matchesGlob(pattern, plain)) {
                side.isWanted[i] = 0;
            }
        }
    }
}

/// For each signal of `a` that has no partner yet, the one of `b` with the same name.
template <class NameOf>
void match(const Side& a, const Side& b, std::vector<std::size_t>& partnerOfA,
           std::vector<std::size_t>& partnerOfB, const NameOf& nameOf)
{
    constexpr std::size_t kSeveral = kNone - 1;
    std::unordered_map<std::string, std::size_t> byName;
    for (std::size_t i = 0; i < b.signals.size(); ++i) {
        if (b.isWanted[i] != 0 && partnerOfB[i] == kNone) {
            const auto [place, isNew] = byName.emplace(nameOf(b, i), i);
            place->second = isNew ? i : kSeveral;
        }
    }
    for (std::size_t i = 0; i < a.signals.size() && !byName.empty(); ++i) {
        if (a.isWanted[i] == 0 || partnerOfA[i] != kNone) {
            continue;
        }
        const auto found = byName.find(nameOf(a, i));
        if (found != byName.end() && found->second < kSeveral) {
            partnerOfA[i] = found->second;
            partnerOfB[found->second] = i;
            found->second = kSeveral;
        }
    }
}

std::vector<std::string> lonelyOnes(const Side& side, const std::vector<std::size_t>& partners)
{
    std::vector<std::string> labels;
    for (std::size_t i = 0; i < side.signals.size(); ++i) {
        if (side.isWanted[i] != 0 && partners[i] == kNone) {
            labels.push_back(side.signals[i].label);
        }
    }
    return labels;
}

} // namespace

SignalPairs pairSignals(const SignalNames& a, const SignalNames& b,
                        const std::vector<std::string>& signals,
                        const std::vector<std::string>& ignored)
{
    Side sideA(a);
    Side sideB(b);
    chooseSignals(sideA, sideB, signals);
    leaveOut(sideA, ignored);
    leaveOut(sideB, ignored);

    std::vector<std::size_t> partnerOfA(sideA.signals.size(), kNone);
    std::vector<std::size_t> partnerOfB(sideB.signals.size(), kNone);
    match(sideA, sideB, partnerOfA, partnerOfB,
          [](const Side& side, std::size_t i) { return side.places[i]; });
    match(sideA, sideB, partnerOfA, partnerOfB,
          [](const Side& side, std::size_t i) { return side.plainPlace(i); });

    SignalPairs result;
    for (std::size_t i = 0; i < partnerOfA.size(); ++i) {
        if (partnerOfA[i] != kNone) {
            const std::size_t other = partnerOfA[i];
            const auto objectOf = [](const Side& side, std::size_t signal) {
                return static_cast<std::uint32_t>(side.variable(side.variables[signal]).object);
            };
            result.pairs.push_back({sideA.signals[i], sideB.signals[other], objectOf(sideA, i),
                                    objectOf(sideB, other)});
        }
    }
    result.onlyInA = lonelyOnes(sideA, partnerOfA);
    result.onlyInB = lonelyOnes(sideB, partnerOfB);
    return result;
}

} // namespace tracewell
