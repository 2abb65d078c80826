// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/FourState.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

// Expressions made ready to be looked at again and again: what they need is there beforehand.

class LogicExpression
{
public:
    LogicExpression() = default;
    LogicExpression(const LogicExpression&) = delete;
    LogicExpression& operator=(const LogicExpression&) = delete;
    virtual ~LogicExpression() = default;

    /// Of a width that does not change. Valid until the next call.
    virtual const FourState& evaluate() = 0;
};

class RealExpression
{
public:
    virtual ~RealExpression() = default;
    /// None without a value so far.
    virtual std::optional<double> evaluate() = 0;
};

class TextExpression
{
public:
    virtual ~TextExpression() = default;
    /// Null without a value so far. Valid until the next call.
    virtual const std::string* evaluate() = 0;
};

using LogicPointer = std::unique_ptr<LogicExpression>;
using RealPointer = std::unique_ptr<RealExpression>;
using TextPointer = std::unique_ptr<TextExpression>;

/// A part of an expression that knows what was before: $past, $rose and others.
class LookingBack
{
public:
    virtual ~LookingBack() = default;
    /// Takes down what is now; what evaluate() gives stays as it is.
    virtual void look() = 0;
    /// What was taken down becomes the one before.
    virtual void step() = 0;
};

/// What is asked of a run at a moment.
class Condition
{
public:
    /// Neither may be null; the parts that look back belong to the expression.
    Condition(LogicPointer expression, std::vector<LookingBack*> lookingBack)
        : m_expression(std::move(expression)), m_lookingBack(std::move(lookingBack))
    {}

    const FourState& value() { return m_expression->evaluate(); }
    bool isTrue() { return value().truth() == Truth::Yes; }
    /// Whether it depends on what was before.
    bool looksBack() const { return !m_lookingBack.empty(); }
    /// Goes on to the next moment.
    void step()
    {
        for (LookingBack* const part : m_lookingBack) {
            part->look();
        }
        for (LookingBack* const part : m_lookingBack) {
            part->step();
        }
    }

private:
    LogicPointer m_expression;
    std::vector<LookingBack*> m_lookingBack;
};

} // namespace tracewell
