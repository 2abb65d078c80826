// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/Expression.h"
#include "search/FourStateOperations.h"
#include "search/Operands.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

// What expressions are made of. Each has the operands that it was made with.

/// A value that somebody else keeps up to date.
class GivenLogic : public LogicExpression
{
public:
    explicit GivenLogic(const FourState& value) : m_value(value) {}
    const FourState& evaluate() override { return m_value; }

private:
    const FourState& m_value;
};

class ConstantLogic : public LogicExpression
{
public:
    explicit ConstantLogic(FourState value) : m_value(std::move(value)) {}
    const FourState& evaluate() override { return m_value; }

private:
    FourState m_value;
};

/// What has a value of its own to give.
class OwnLogic : public LogicExpression
{
protected:
    explicit OwnLogic(unsigned int width) : m_value(width) {}
    FourState m_value;
};

class ExtendedLogic : public OwnLogic
{
public:
    ExtendedLogic(unsigned int width, LogicPointer operand, bool isSigned)
        : OwnLogic(width), m_operand(std::move(operand)), m_isSigned(isSigned)
    {}
    const FourState& evaluate() override
    {
        m_value.setExtended(m_operand->evaluate(), m_isSigned);
        return m_value;
    }

private:
    LogicPointer m_operand;
    bool m_isSigned;
};

class UnaryLogic : public OwnLogic
{
public:
    UnaryLogic(unsigned int width, UnaryOperation operation, LogicPointer operand)
        : OwnLogic(width), m_operation(operation), m_operand(std::move(operand))
    {}
    const FourState& evaluate() override
    {
        m_operation(m_value, m_operand->evaluate());
        return m_value;
    }

private:
    UnaryOperation m_operation;
    LogicPointer m_operand;
};

class BinaryLogic : public OwnLogic
{
public:
    BinaryLogic(unsigned int width, BinaryOperation operation, LogicPointer left,
                LogicPointer right)
        : OwnLogic(width), m_operation(operation), m_left(std::move(left)),
          m_right(std::move(right))
    {}
    const FourState& evaluate() override
    {
        m_operation(m_value, m_left->evaluate(), m_right->evaluate());
        return m_value;
    }

private:
    BinaryOperation m_operation;
    LogicPointer m_left;
    LogicPointer m_right;
};

class PowerLogic : public OwnLogic
{
public:
    PowerLogic(unsigned int width, LogicPointer base, LogicPointer exponent, bool isBaseSigned,
               bool isExponentSigned)
        : OwnLogic(width), m_base(std::move(base)), m_exponent(std::move(exponent)),
          m_isBaseSigned(isBaseSigned), m_isExponentSigned(isExponentSigned)
    {}
    const FourState& evaluate() override
    {
        power(m_value, m_base->evaluate(), m_exponent->evaluate(), m_isBaseSigned,
              m_isExponentSigned);
        return m_value;
    }

private:
    LogicPointer m_base;
    LogicPointer m_exponent;
    bool m_isBaseSigned;
    bool m_isExponentSigned;
};

/// && and ||; the right side is looked at where the left one does not decide.
class LogicalJunction : public OwnLogic
{
public:
    LogicalJunction(bool isConjunction, LogicPointer left, LogicPointer right)
        : OwnLogic(1), m_decisive(isConjunction ? Truth::No : Truth::Yes), m_left(std::move(left)),
          m_right(std::move(right))
    {}
    const FourState& evaluate() override
    {
        const Truth left = m_left->evaluate().truth();
        if (left == m_decisive) {
            m_value.setTruth(left);
            return m_value;
        }
        const Truth right = m_right->evaluate().truth();
        m_value.setTruth(m_decisive == Truth::No ? both(left, right) : either(left, right));
        return m_value;
    }

private:
    Truth m_decisive;
    LogicPointer m_left;
    LogicPointer m_right;
};

class ConditionalLogic : public OwnLogic
{
public:
    ConditionalLogic(unsigned int width, LogicPointer condition, LogicPointer left,
                     LogicPointer right)
        : OwnLogic(width), m_condition(std::move(condition)), m_left(std::move(left)),
          m_right(std::move(right))
    {}
    const FourState& evaluate() override
    {
        const Truth truth = m_condition->evaluate().truth();
        if (truth != Truth::Unknown) {
            return truth == Truth::Yes ? m_left->evaluate() : m_right->evaluate();
        }
        mergeUnknown(m_value, m_left->evaluate(), m_right->evaluate());
        return m_value;
    }

private:
    LogicPointer m_condition;
    LogicPointer m_left;
    LogicPointer m_right;
};

/// The operands behind each other, the first on the left.
class JoinedLogic : public OwnLogic
{
public:
    JoinedLogic(unsigned int width, std::vector<LogicPointer> parts, unsigned int times)
        : OwnLogic(width), m_parts(std::move(parts)), m_times(times)
    {}
    const FourState& evaluate() override
    {
        m_value.fill(0);
        unsigned int at = 0;
        for (unsigned int i = 0; i < m_times; ++i) {
            for (std::size_t part = m_parts.size(); part-- > 0;) {
                const FourState& value = m_parts[part]->evaluate();
                m_value.setBits(at, value);
                at += value.width();
            }
        }
        return m_value;
    }

private:
    std::vector<LogicPointer> m_parts;
    unsigned int m_times;
};

/// Some bits of a value, from one on that may change; x for bits that it does not have.
class SelectedLogic : public OwnLogic
{
public:
    /// Bit number `base` of the declaration is the lowest of the operand, and numbers go up from
    /// there, or down. `offset` goes from the index to the number of the lowest bit selected.
    SelectedLogic(unsigned int width, LogicPointer operand, LogicPointer index, bool isIndexSigned,
                  long long base, bool goesUp, long long offset)
        : OwnLogic(width), m_operand(std::move(operand)), m_index(std::move(index)),
          m_isIndexSigned(isIndexSigned), m_base(base), m_goesUp(goesUp), m_offset(offset)
    {}
    const FourState& evaluate() override
    {
        constexpr long long kBeyond = 1LL << 40;
        const FourState& operand = m_operand->evaluate();
        const std::optional<long long> index = m_index->evaluate().number(m_isIndexSigned);
        if (!index || *index > kBeyond || *index < -kBeyond) {
            m_value.fill(3);
            return m_value;
        }
        const long long number = *index + m_offset;
        const long long first = m_goesUp ? number - m_base : m_base - number;
        m_value.setSelected(operand, first);
        return m_value;
    }

private:
    LogicPointer m_operand;
    LogicPointer m_index;
    bool m_isIndexSigned;
    long long m_base;
    bool m_goesUp;
    long long m_offset;
};

/// A truth that is found in some other way.
class FoundTruth : public OwnLogic
{
public:
    explicit FoundTruth(std::function<Truth()> find) : OwnLogic(1), m_find(std::move(find)) {}
    const FourState& evaluate() override
    {
        m_value.setTruth(m_find());
        return m_value;
    }

private:
    std::function<Truth()> m_find;
};

class FoundReal : public RealExpression
{
public:
    explicit FoundReal(std::function<std::optional<double>()> find) : m_find(std::move(find)) {}
    std::optional<double> evaluate() override { return m_find(); }

private:
    std::function<std::optional<double>()> m_find;
};

class FoundText : public TextExpression
{
public:
    explicit FoundText(std::function<const std::string*()> find) : m_find(std::move(find)) {}
    const std::string* evaluate() override { return m_find(); }

private:
    std::function<const std::string*()> m_find;
};

/// $past: what an expression was so many moments ago; x before there was one.
class PastLogic : public OwnLogic, public LookingBack
{
public:
    PastLogic(unsigned int width, LogicPointer operand, std::size_t moments)
        : OwnLogic(width), m_operand(std::move(operand)), m_past(moments, m_value), m_next(m_value)
    {}
    const FourState& evaluate() override { return m_past[m_at]; }
    void look() override { m_next = m_operand->evaluate(); }
    void step() override
    {
        m_past[m_at] = m_next;
        m_at = (m_at + 1) % m_past.size();
    }

private:
    LogicPointer m_operand;
    /// The oldest at m_at.
    std::vector<FourState> m_past;
    FourState m_next;
    std::size_t m_at = 0;
};

/// $rose, $fell, $stable and $changed: an expression beside what it was one moment ago.
class ChangedLogic : public OwnLogic, public LookingBack
{
public:
    enum class Question { Rose, Fell, Stable, Changed };

    ChangedLogic(Question question, unsigned int width, LogicPointer operand)
        : OwnLogic(1), m_question(question), m_operand(std::move(operand)), m_before(width),
          m_next(width)
    {}
    const FourState& evaluate() override
    {
        const FourState& now = m_operand->evaluate();
        const unsigned int edge = m_question == Question::Rose ? 1 : 0;
        const bool isEdge = now.bit(0) == edge && m_before.bit(0) != edge;
        const bool isSame = now.isSame(m_before);
        const bool isYes = m_question == Question::Stable    ? isSame
                           : m_question == Question::Changed ? !isSame
                                                             : isEdge;
        m_value.setTruth(isYes ? Truth::Yes : Truth::No);
        return m_value;
    }
    void look() override { m_next = m_operand->evaluate(); }
    void step() override { m_before = m_next; }

private:
    Question m_question;
    LogicPointer m_operand;
    FourState m_before;
    FourState m_next;
};

} // namespace tracewell
