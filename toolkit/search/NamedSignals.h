// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/ExpressionLexer.h"
#include "search/ExpressionTree.h"
#include "text/Failure.h"
#include "wave/SignalNames.h"
#include "wave/SignalSlice.h"

#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tracewell {

/// What a name in an expression stands for.
struct NamedSignal
{
    struct Part
    {
        std::uint32_t object;
        unsigned int width;
    };

    /// The leftmost bits first: several where each bit was declared as a variable of its own. A
    /// part of width 0 is a bit that nobody declared.
    std::vector<Part> parts;
    unsigned int width = 1;
    bool isSigned = false;
    BitRange range;
    const ValueKind* kind = &kScalar;
    const Enumeration* enumeration = nullptr;
    /// How many of the selects behind the name belong to it: "mem[3]".
    std::size_t selectsTaken = 0;
};

/// An expression names a signal that there is not, or several.
class SignalNameFailure : public Failure
{
public:
    using Failure::Failure;
};

/// Finds the signals that expressions name. A name is looked for in a scope, in the ones around it,
/// and from the top; where it is nowhere, as the end of a longer one if just one ends so.
class NamedSignals
{
public:
    /// The names must outlive it. `scope` is a scope's path, or empty.
    /// \throws Failure when there is no such scope.
    NamedSignals(const SignalNames& names, std::string scope);

    /// First for all expressions: what they name is looked up in one go by find().
    void want(const ExpressionTree& tree);
    /// The signal of a tree of kind Name. False when there is none.
    /// \throws SignalNameFailure when there are several.
    bool find(const ExpressionText& text, const ExpressionTree& tree, NamedSignal& signal);
    /// \throws SignalNameFailure that says that there is no such signal, and which are near.
    [[noreturn]] void refuse(const ExpressionText& text, const ExpressionTree& tree) const;

private:
    struct Candidate
    {
        std::string path;
        std::size_t variable;
    };

    void collect();
    std::vector<std::size_t> matches(const std::string& path, bool asEnd) const;
    bool take(const ExpressionText& text, const ExpressionTree& tree, std::size_t selects,
              const std::vector<std::size_t>& found, NamedSignal& signal) const;
    bool takeBits(const std::vector<std::size_t>& found, NamedSignal& signal) const;
    void takeOne(std::size_t variable, NamedSignal& signal) const;

    const SignalNames& m_names;
    /// From the innermost on, each with its "." behind it; the last is empty.
    std::vector<std::string> m_scopes;
    /// Ends of what was written that a variable's name can be.
    std::unordered_set<std::string> m_wanted;
    std::vector<Candidate> m_candidates;
    bool m_isCollected = false;
};

} // namespace tracewell
