// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/Expression.h"
#include "search/ExpressionTree.h"
#include "search/NamedSignals.h"
#include "search/Operands.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// What a part of an expression is by itself.
struct ExpressionType
{
    enum class Kind { Logic, Real, Text };

    Kind kind = Kind::Logic;
    unsigned int width = 1;
    bool isSigned = false;
};

/// Makes an expression ready: finds what its names stand for, and gives each part the width and the
/// sign that it has by the rules of IEEE 1800 ("expression bit lengths", "signed expressions").
class ExpressionBuilder
{
public:
    /// All must outlive it, and the operands the conditions that are built.
    ExpressionBuilder(const ExpressionText& text, NamedSignals& names, Operands& operands)
        : m_text(text), m_names(names), m_operands(operands)
    {}

    /// As a condition: a number is true where it is not 0.
    /// \throws Failure for wrong usage.
    Condition condition(const ExpressionTree& tree);
    /// As it is, but of texts and real numbers the bits that tell them apart.
    Condition value(const ExpressionTree& tree);
    /// The operand of an event, if a tree is nothing but its name; null otherwise.
    SignalOperand* eventOf(const ExpressionTree& tree);

private:
    using Type = ExpressionType;
    struct UnaryRule;
    struct BinaryRule;

    const NamedSignal* signalOf(const ExpressionTree& tree);
    std::optional<FourState> enumerationValue(const ExpressionTree& tree,
                                              const ExpressionTree* peer);
    const Type& typeOf(const ExpressionTree& tree);
    Type findType(const ExpressionTree& tree);
    Type binaryType(const ExpressionTree& tree);
    Type callType(const ExpressionTree& tree);
    Type nameType(const ExpressionTree& tree);
    Type common(const ExpressionTree& left, const ExpressionTree& right);

    LogicPointer build(const ExpressionTree& tree);
    LogicPointer build(const ExpressionTree& tree, const Type& context);
    LogicPointer own(const ExpressionTree& tree, const Type& context);
    LogicPointer truth(const ExpressionTree& tree);
    LogicPointer name(const ExpressionTree& tree);
    LogicPointer select(const ExpressionTree& tree, const NamedSignal& signal, LogicPointer whole);
    LogicPointer unary(const ExpressionTree& tree, const Type& context);
    LogicPointer binary(const ExpressionTree& tree, const Type& context);
    LogicPointer comparison(const std::string& sign, const ExpressionTree& left,
                            const ExpressionTree& right, const ExpressionTree& place);
    LogicPointer inside(const ExpressionTree& tree);
    LogicPointer call(const ExpressionTree& tree);
    LogicPointer joined(const ExpressionTree& tree);
    RealPointer real(const ExpressionTree& tree);
    RealPointer realBinary(const ExpressionTree& tree);
    TextPointer text(const ExpressionTree& tree);

    long long constant(const ExpressionTree& tree, const char* what);
    void requireOperands(const ExpressionTree& tree, std::size_t least, std::size_t most);
    void requireLogic(const ExpressionTree& tree);
    [[noreturn]] void refuse(const std::string& why, const ExpressionTree& tree) const;
    Condition finish(LogicPointer expression);

    const ExpressionText& m_text;
    NamedSignals& m_names;
    Operands& m_operands;
    std::map<const ExpressionTree*, Type> m_types;
    /// Without a value for names that are no signal's.
    std::map<const ExpressionTree*, std::optional<NamedSignal>> m_signals;
    /// What names that are no signal's stand for.
    std::map<const ExpressionTree*, FourState> m_valueNames;
    std::vector<LookingBack*> m_lookingBack;
};

} // namespace tracewell
