// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/FourState.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A part of an expression as it was written.
struct ExpressionTree
{
    enum class Kind {
        Number,        ///< `number`
        Fill,          ///< '0 '1 'x 'z: as many bits as there is room for
        Real,          ///< `real`
        Text,          ///< `text`, without its quotes
        Name,          ///< `text`, with the selects behind it as operands
        Bit,           ///< [operand]
        Part,          ///< [operand:operand]
        PartUp,        ///< [operand +: operand]
        PartDown,      ///< [operand -: operand]
        Concatenation, ///< {operands}
        Replication,   ///< {operand{operand}}
        Unary,         ///< `text` operand
        Binary,        ///< operand `text` operand
        Conditional,   ///< operand ? operand : operand
        Inside,        ///< operand inside {operands}
        Range,         ///< [operand:operand] in the braces of inside
        Open,          ///< $ as a bound
        Call           ///< `text` (operands)
    };

    Kind kind = Kind::Number;
    std::string text;
    std::vector<std::unique_ptr<ExpressionTree>> operands;
    FourState number;
    bool isSigned = false;
    /// Of a number without a size, whose bits go on as its leftmost one when that is x or z.
    bool isOpenEnded = false;
    double real = 0;
    /// Where it begins in its text, from 0 on.
    std::size_t place = 0;
    /// What stands there, for selects.
    std::string source;

    bool isPlainName() const { return kind == Kind::Name && operands.empty(); }
};

using TreePointer = std::unique_ptr<ExpressionTree>;

/// `a ##1 b ##[2:5] c`: each element but the first is looked at so many samples behind the one in
/// front of it.
struct SequenceTree
{
    struct Element
    {
        unsigned long long least = 0;
        /// The largest number for one without end.
        unsigned long long most = 0;
        TreePointer condition;
    };
    std::vector<Element> elements;
};

/// `posedge clk iff enable or change`: when to look.
struct EventTree
{
    enum class Edge { Any, Rising, Falling, Both };
    struct Term
    {
        Edge edge = Edge::Any;
        TreePointer expression;
        /// Null without iff.
        TreePointer condition;
    };
    std::vector<Term> terms;
};

} // namespace tracewell
