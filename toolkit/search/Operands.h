// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "values/FourState.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// What an expression knows of a signal: its value as of the last refresh. What has no value yet is
/// all x; a number or a text then is none.
struct SignalOperand
{
    SignalOperand(std::uint32_t objectIndex, unsigned int width) : object(objectIndex), bits(width)
    {}

    std::uint32_t object;
    FourState bits;
    std::optional<double> real;
    std::optional<std::string> text;
    /// Of an event: it fired since forgetFirings().
    bool hasFired = false;
};

/// The signals of expressions that are looked at together.
class Operands
{
public:
    /// The declarations must outlive it.
    explicit Operands(const Declarations& declarations) : m_declarations(declarations) {}

    /// One for each object and width; stays where it is.
    SignalOperand& add(std::uint32_t object, unsigned int width);
    /// Whether one of them is an event.
    bool haveEvents() const { return m_haveEvents; }
    /// In simulation time, what $time gives; kept up to date from now on.
    const FourState& time()
    {
        m_isTimeAsked = true;
        return m_time;
    }

    /// The objects, ascending.
    std::vector<std::uint32_t> objects() const;
    /// Takes the values in that the stream's step changed. True when there was one.
    bool refresh(ChangeStream& changes);
    void setTime(long long time)
    {
        if (m_isTimeAsked) {
            m_time.setNumber(static_cast<unsigned long long>(time));
        }
    }
    void forgetFirings();

private:
    void take(ChangeStream& changes, SignalOperand& operand);

    const Declarations& m_declarations;
    std::map<std::pair<std::uint32_t, unsigned int>, std::unique_ptr<SignalOperand>> m_operands;
    /// By object: where its operands begin in m_ordered, one more than their number 0 for none.
    std::vector<std::uint32_t> m_places;
    std::vector<SignalOperand*> m_ordered;
    std::vector<SignalOperand*> m_fired;
    FourState m_time{64};
    bool m_haveEvents = false;
    bool m_isTimeAsked = false;
    std::string m_text;
};

} // namespace tracewell
